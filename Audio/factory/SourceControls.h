// The controls of microphone and loudspeaker, which both factories have.
#pragma once

#include "Audio/capture/CAudioCapture.h"
#include "Audio/capture/LoopbackCapture.h"

namespace Vimbrel {

template <class Factory>
class SourceControls : public Factory {
public:
    void SetMicrophoneMute(bool mute) override { capture.SetMuted(mute); }
    bool GetMicrophoneMute() override { return capture.IsMuted(); }
    void SetMicrophonePitch(int percent) override { capture.SetPitch(percent); }
    void SetMicrophoneVolume(int percent) override { capture.SetVolume(percent); }
    int GetMicrophoneVolume() override { return capture.Volume(); }
    void SetVoiceDetect(bool on) override { capture.SetVoiceDetect(on); }
    void SetVoiceDetectParams(int level, int silence_ms, int voice_ms) override {
        capture.SetVoiceDetectParams(level, silence_ms, voice_ms);
    }
    void SetVoiceDetectWindow(HWND window, unsigned message) override {
        capture.SetVoiceDetectWindow(window, message);
    }
    bool SetSpeakerVolume(int percent) override { return loopback.SetVolumePercent(percent); }
    int GetSpeakerVolume() override { return loopback.GetVolumePercent(); }
    void SetSpeakerMute(bool mute) override { loopback.SetMute(mute); }
    bool GetSpeakerMute() override { return loopback.GetMute(); }

protected:
    LoopbackCapture loopback;
    CAudioCapture capture;
};

}  // namespace Vimbrel

// The sound of the process: any number of sources in one mix by the clock.
#pragma once

#include <objbase.h>

#include <mmreg.h>
#include <winuser.h>

#include <cstdint>
#include <functional>

#include "vimbrel/Export.h"

namespace Vimbrel {

// The one engine that all users share. Devices are opened at once and run while the engine does.
// Everything but GetMediaMixMode belongs to one thread, which has started COM. Nothing reports a
// failure but IsRunning, HasInputDevice and HasOutputDevice: a device that does not work, or goes
// away, is left out of the mix.
class VIMBREL_API CAudioFactory2 {
public:
    // A block of 4096 bytes in the format of the engine's start, valid during the call, on the
    // mixing thread. `time` counts blocks from the start, in units of 100 ns as `duration` is. A
    // period without sound has no call. It must not stop the engine.
    using Dispatcher = std::function<void(unsigned char* data, int size, std::int64_t time,
                                          std::int64_t duration)>;

    // Destroyed at the end of the process.
    static CAudioFactory2* GetInstance();

    CAudioFactory2() = default;
    CAudioFactory2(const CAudioFactory2&) = default;
    CAudioFactory2& operator=(const CAudioFactory2&) = default;
    virtual ~CAudioFactory2() = default;

    // Starts and stops nest: the engine runs until the last user stops it.
    virtual void Start() = 0;
    virtual void Stop() = 0;
    virtual bool IsRunning() = 0;
    // Any thread.
    virtual bool GetMediaMixMode() = 0;
    // In this mode the sound of playing media is mixed, in place of system sound and microphone.
    // Every graph of sound that starts in it takes part, that of a microphone in use as input
    // device too: without one, only media is heard. A change starts the engine anew, whether or not
    // it has users.
    virtual void SetMediaMixMode(bool on) = 0;
    // 16-bit PCM, two channels, 44100 Hz. May be written; takes effect at the next start. 16 bits
    // are mixed whatever it says.
    virtual WAVEFORMATEX* GetFormat() = 0;
    // While the engine does not run.
    virtual void SetDispatcher(Dispatcher dispatcher) = 0;

    // A friendly name of AudioDeviceEnumerator; null or empty: none. A device that is set while the
    // engine runs starts with the next start of the engine.
    virtual void SetInputDevice(const wchar_t* name) = 0;
    // Whether a name is set.
    virtual bool HasInputDevice() = 0;

    // As in CAudioFactory.
    virtual void SetMicrophoneMute(bool mute) = 0;
    virtual bool GetMicrophoneMute() = 0;
    virtual void SetMicrophonePitch(int percent) = 0;
    virtual void SetMicrophoneVolume(int percent) = 0;
    virtual int GetMicrophoneVolume() = 0;
    virtual void SetVoiceDetect(bool on) = 0;
    virtual void SetVoiceDetectParams(int level, int silence_ms, int voice_ms) = 0;
    virtual void SetVoiceDetectWindow(HWND window, unsigned message) = 0;

    // The output device whose sound is mixed; an unknown name is the default device.
    virtual void SetOutputDevice(const wchar_t* name) = 0;
    virtual bool HasOutputDevice() = 0;

    // As in CAudioFactory.
    virtual bool SetSpeakerVolume(int percent) = 0;
    virtual int GetSpeakerVolume() = 0;
    virtual void SetSpeakerMute(bool mute) = 0;
    virtual bool GetSpeakerMute() = 0;
};

}  // namespace Vimbrel

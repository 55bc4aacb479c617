// A microphone, or what an output device plays.
#pragma once

#include <memory>
#include <string>

#include "scene/Scene.h"
#include "sound/SampleQueue.h"
#include "sound/SoundResampler.h"
#include "vimbrel/AudioFactory.h"

namespace studio {

// Runs from its opening to its destruction. A device that goes away is silent from then on.
class LiveSound final : public SoundSource {
public:
    // Null with `error` set to what is wrong with the device.
    static std::unique_ptr<LiveSound> Open(const SoundDescription& description, std::string& error);
    ~LiveSound() override;
    LiveSound(const LiveSound&) = delete;
    LiveSound& operator=(const LiveSound&) = delete;

    int Rate() const override { return rate; }
    void Read(float* stereo, std::size_t frames) override { queue.Read(stereo, frames); }

    bool IsMicrophone() const { return microphone; }
    // For the progress line: "mic" or "system".
    const char* Name() const { return microphone ? "mic" : "system"; }
    void SetMuted(bool muted) { factory->SetMicrophoneMute(muted); }
    bool IsMuted() const { return microphone && factory->GetMicrophoneMute(); }

private:
    explicit LiveSound(bool is_microphone);
    bool OpenMicrophone(const MicrophoneDescription& description, double volume,
                        std::string& error);
    bool OpenSystemSound(const SystemSoundDescription& description, std::string& error);
    bool Start(std::string& error);

    // What both sources deliver here.
    static constexpr int rate = 44100;
    static constexpr std::size_t lead = rate / live_lags_per_second;
    static constexpr std::size_t limit = rate / 3;

    const bool microphone;
    SampleQueue queue{lead, limit};
    std::unique_ptr<Vimbrel::CAudioFactory> factory;
};

}  // namespace studio

// Where speech begins and ends in a microphone's sound.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <optional>

namespace Vimbrel {

class VoiceLevel {
public:
    struct Change {
        bool speech;  // begins, or else ends
        int level;
    };

    // Any thread.
    void SetParams(int level, int silence_ms, int voice_ms);

    // Measures a packet of 16-bit samples on the streaming thread. The change that it brings.
    std::optional<Change> Take(const unsigned char* data, int size, const WAVEFORMATEX& format);

    // The root mean square of a packet, of two channels that of their average. Kept: the sum of one
    // channel wraps in 32 bits, because hosts have set their thresholds by it. None, which is
    // silence, for no samples, other numbers of channels, and a sum that wrapped below 0.
    static std::optional<double> Of(const unsigned char* data, int size, unsigned channels);

private:
    std::atomic<int> level_threshold{500};
    std::atomic<int> silence_ms{1000};
    std::atomic<int> voice_ms{250};
    // Of the streaming thread.
    bool voice_state = false;
    int silent_blocks = 0;
    int voice_blocks = 0;
};

}  // namespace Vimbrel

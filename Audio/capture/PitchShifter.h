// The library that shifts pitch, with 16-bit samples in and out whatever it computes in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vimbrel {

// One thread at a time. How many frames come back, and when, is the library's: builds of it differ.
class PitchShifter {
public:
    PitchShifter();
    ~PitchShifter();
    PitchShifter(const PitchShifter&) = delete;
    PitchShifter& operator=(const PitchShifter&) = delete;

    // Drops what the library holds. Numbers that it refuses leave later samples as they are.
    void SetFormat(std::uint32_t frames_per_second, std::uint32_t channels, float ratio);
    // 1 is no change, 2 an octave up.
    void SetPitch(float ratio);

    // Shifts `frames` frames in place, within the first `bytes` bytes. What does not come back
    // keeps the old samples.
    void Shift(void* data, std::size_t bytes, std::size_t frames);

private:
    struct Library;

    std::unique_ptr<Library> library;
    std::size_t channels = 0;  // 0: the library refused the format
};

}  // namespace Vimbrel

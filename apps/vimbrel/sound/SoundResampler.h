// Stereo sound at another rate.
#pragma once

#include <cstddef>
#include <vector>

namespace studio {

// The supplier of samples: fills all of it, with silence after the end.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    // Frames per second.
    virtual int Rate() const = 0;
    virtual void Read(float* stereo, std::size_t frames) = 0;
};

// Band-limited, in exact steps, so that no time is lost or won over any length.
class SoundResampler {
public:
    // Frames a second, above 0.
    SoundResampler(int from, int to);

    void Read(SoundSource& source, float* stereo, std::size_t frames);

private:
    std::size_t step;            // of input per output, in phases
    std::size_t phases;          // per frame of input
    std::size_t taps;            // frames of input that make one of output
    std::vector<float> weights;  // taps of each phase
    std::vector<float> input;    // stereo frames that are not through yet
    std::size_t position;        // of the next output, in phases from the beginning of `input`
};

}  // namespace studio

#include "Audio/capture/PitchShifter.h"

#include <SoundTouch.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <type_traits>

#include "Audio/BlockMath.h"

namespace Vimbrel {

namespace {

// Takes the library's types as parameters, because its build decides what a sample is.
template <class Sample, class Touch>
struct Edge {
    static constexpr std::size_t block_samples = 4096;

    static void Put(Touch& touch, const std::int16_t* samples, std::size_t frames,
                    std::size_t channels) {
        if constexpr (std::is_same_v<Sample, std::int16_t>) {
            touch.putSamples(samples, static_cast<unsigned>(frames));
        } else {
            std::array<Sample, block_samples> block;
            const std::size_t block_frames = block_samples / channels;
            do {
                const std::size_t part = std::min(frames, block_frames);
                SelectedBlockMath().to_floats(samples, part * channels, block.data());
                touch.putSamples(block.data(), static_cast<unsigned>(part));
                samples += part * channels;
                frames -= part;
            } while (frames > 0);
        }
    }

    static void Receive(Touch& touch, std::int16_t* samples, std::size_t frames,
                        std::size_t channels) {
        if constexpr (std::is_same_v<Sample, std::int16_t>) {
            touch.receiveSamples(samples, static_cast<unsigned>(frames));
        } else {
            std::array<Sample, block_samples> block;
            const std::size_t block_frames = block_samples / channels;
            std::size_t got = 0;
            do {
                const std::size_t part = std::min(frames, block_frames);
                got = touch.receiveSamples(block.data(), static_cast<unsigned>(part));
                SelectedBlockMath().to_samples(block.data(), got * channels, samples);
                samples += got * channels;
                frames -= got;
            } while (frames > 0 && got > 0);
        }
    }
};

using LibraryEdge = Edge<soundtouch::SAMPLETYPE, soundtouch::SoundTouch>;

}  // namespace

struct PitchShifter::Library {
    soundtouch::SoundTouch touch;
};

PitchShifter::PitchShifter() : library(std::make_unique<Library>()) {}

PitchShifter::~PitchShifter() = default;

void PitchShifter::SetFormat(std::uint32_t frames_per_second, std::uint32_t channel_count,
                             float ratio) try {
    channels = 0;
    if (channel_count == 0 || frames_per_second == 0) return;
    soundtouch::SoundTouch& touch = library->touch;
    touch.setSampleRate(frames_per_second);
    touch.setChannels(channel_count);
    touch.setTempoChange(0.0);
    touch.setPitchSemiTones(0);
    touch.setPitch(ratio);
    touch.clear();
    channels = channel_count;
} catch (const std::runtime_error&) {
    // The library's way to refuse a number of channels or a rate.
}

void PitchShifter::SetPitch(float ratio) { library->touch.setPitch(ratio); }

void PitchShifter::Shift(void* data, std::size_t bytes, std::size_t frames) try {
    if (channels == 0 || !data) return;
    frames = std::min(frames, bytes / (channels * sizeof(std::int16_t)));
    auto* const samples = static_cast<std::int16_t*>(data);
    LibraryEdge::Put(library->touch, samples, frames, channels);
    LibraryEdge::Receive(library->touch, samples, frames, channels);
} catch (const std::runtime_error&) {
    channels = 0;
}

}  // namespace Vimbrel

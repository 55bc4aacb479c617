#include "sound/SampleQueue.h"

#include <algorithm>
#include <cstring>

namespace studio {

namespace {

constexpr std::size_t channels = 2;
constexpr float full_scale = 32768.0F;

}  // namespace

void SampleQueue::Push(const std::int16_t* stereo, std::size_t frames) {
    const std::lock_guard guard(mutex);
    waiting.insert(waiting.end(), stereo, stereo + frames * channels);
    Limit();
}

void SampleQueue::PushSilence(std::size_t frames) {
    const std::lock_guard guard(mutex);
    waiting.resize(waiting.size() + std::min(frames, limit) * channels);
    Limit();
}

void SampleQueue::Limit() {
    if (waiting.size() > limit * channels)
        waiting.erase(waiting.begin(),
                      waiting.end() - static_cast<std::ptrdiff_t>(lead * channels));
}

void SampleQueue::PushBytes(const unsigned char* data, int size) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(size) / sizeof(std::int16_t));
    std::memcpy(samples.data(), data, samples.size() * sizeof(std::int16_t));
    Push(samples.data(), samples.size() / channels);
}

void SampleQueue::Read(float* stereo, std::size_t frames) {
    const std::lock_guard guard(mutex);
    if (!flows && waiting.size() >= lead * channels) {
        flows = true;
        // What came before would make all of it late.
        waiting.erase(waiting.begin(),
                      waiting.end() - static_cast<std::ptrdiff_t>(lead * channels));
    }
    const std::size_t wanted = frames * channels;
    const std::size_t taken = flows ? std::min(wanted, waiting.size()) : 0;
    std::transform(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(taken), stereo,
                   [](std::int16_t sample) { return sample / full_scale; });
    std::fill(stereo + taken, stereo + wanted, 0.0F);
    waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(taken));
    if (taken < wanted) flows = false;
}

}  // namespace studio

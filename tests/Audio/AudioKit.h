// What the tests of the audio engine share.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>

#include <cstdint>
#include <vector>

#include "Audio/CAudioChannel2.h"

namespace Vimbrel::test {

class ScopedCom {
public:
    ScopedCom() { EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))); }
    ~ScopedCom() { CoUninitialize(); }
    ScopedCom(const ScopedCom&) = delete;
    ScopedCom& operator=(const ScopedCom&) = delete;
};

using Bytes = std::vector<unsigned char>;

// Without zeros, so that it is no silence.
inline Bytes Pattern(std::size_t size, unsigned seed = 1) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>((seed = seed * 1664525 + 1013904223) >> 24 | 1);
    return bytes;
}

inline Bytes Joined(Bytes front, std::size_t silence, const Bytes& back) {
    front.resize(front.size() + silence);
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

inline bool Take(CAudioChannel2& channel, Bytes& into) {
    const MutexLock guard(channel.mutex);
    return channel.ReadRing(into.data(), into.size());
}

inline Bytes TakeAll(CAudioChannel2& channel) {
    Bytes bytes(channel.used);
    EXPECT_TRUE(Take(channel, bytes));
    return bytes;
}

inline void Write(CAudioChannel2& channel, Bytes bytes, std::int64_t start, std::int64_t end) {
    channel.WriteSamples(bytes.data(), static_cast<int>(bytes.size()), start, end);
}

constexpr WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits, WORD tag = WAVE_FORMAT_PCM) {
    const auto align = static_cast<WORD>(channels * bits / 8);
    return {tag, channels, rate, rate * align, align, bits, 0};
}

}  // namespace Vimbrel::test

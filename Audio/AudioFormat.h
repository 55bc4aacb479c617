// Formats of the audio engine.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <cstdint>

namespace Vimbrel {

// What is mixed unless the application changes it: two channels of 16 bits.
inline constexpr WAVEFORMATEX engine_format = {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};

// Compares every field and the bytes that follow the structure.
bool IsSameFormat(const WAVEFORMATEX& a, const WAVEFORMATEX& b);

// The length of `time`, in units of 100 ns and not negative, in bytes: whole frames, rounded down.
std::uint64_t BytesOf(const WAVEFORMATEX& format, std::int64_t time);

}  // namespace Vimbrel

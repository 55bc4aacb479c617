// H.264 as encoders give it (start codes, parameter sets anywhere), and into what MP4 files hold
// (lengths, parameter sets apart).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace Vimbrel {

// All SPS among the units and then all PPS, each with a start code of 4 bytes.
std::vector<std::uint8_t> H264ParameterSets(std::span<const std::uint8_t> annex_b);

// The decoder's configuration (the content of the box avcC) from the parameter sets among the
// units; empty if one is missing.
std::vector<std::uint8_t> H264Configuration(std::span<const std::uint8_t> annex_b);

// Appends the units with their lengths, without the parameter sets, delimiters and filler.
void AppendH264Sample(std::span<const std::uint8_t> annex_b, std::vector<std::uint8_t>& sample);

}  // namespace Vimbrel

// Converts H.264 from the form of encoders (start codes, parameter sets anywhere) to that of MP4
// files (lengths, parameter sets apart).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace Vimbrel {

// Returns all SPS among the units and then all PPS, each with a start code of 4 bytes.
std::vector<std::uint8_t> H264ParameterSets(std::span<const std::uint8_t> annex_b);

// Returns the decoder's configuration (the content of the box avcC) from the parameter sets among
// the units; empty if one is missing.
std::vector<std::uint8_t> H264Configuration(std::span<const std::uint8_t> annex_b);

// Appends the units with their lengths, without the parameter sets, delimiters and filler.
void AppendH264Sample(std::span<const std::uint8_t> annex_b, std::vector<std::uint8_t>& sample);

}  // namespace Vimbrel

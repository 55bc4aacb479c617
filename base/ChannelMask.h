// The loudspeakers of sound with so many channels.
#pragma once

#include <cstdint>
#include <iterator>

namespace Vimbrel {

// By the published bits of a channel mask. A sample's channels come in the order of the bits, the
// lowest first, as in WAVE files. Formats say only how many channels there are: everything that
// gives them places takes them from here. Four are front and back, seven have one in the middle
// behind, eight have sides. 0 for no channel and for more than eight.
constexpr std::uint32_t ChannelMask(unsigned channels) {
    constexpr std::uint32_t masks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
    return channels < std::size(masks) ? masks[channels] : 0;
}

}  // namespace Vimbrel

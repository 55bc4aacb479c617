#include "platform/linux/wic/palette/NearestColor.h"

#include <algorithm>
#include <limits>

namespace Vimbrel {

NearestColor::NearestColor(std::span<const WICColor> colors)
    : blocks_(std::size_t{1} << (3 * block_bits)),
      cells_(std::size_t{1} << (3 * cell_bits), unknown),
      recent_(std::size_t{1} << recent_bits) {
    std::vector<bool> taken(cells_.size());
    for (std::size_t i = 0; i < colors.size(); ++i) {
        if (colors[i] >> 24 != 0xFF) continue;
        const unsigned b = colors[i] & 0xFF;
        const unsigned g = colors[i] >> 8 & 0xFF;
        const unsigned r = colors[i] >> 16 & 0xFF;
        opaque_.push_back({static_cast<std::int16_t>(b), static_cast<std::int16_t>(g),
                           static_cast<std::int16_t>(r), static_cast<std::uint8_t>(i)});
        const std::size_t cell = CellOf(b, g, r);
        if (taken[cell]) cells_[cell] = crowded;
        taken[cell] = true;
    }
    if (opaque_.empty()) opaque_.push_back({0, 0, 0, 0});

    constexpr int row_size = 256 >> block_bits;
    for (std::size_t row = 0; row < block_rows; ++row) {
        const int low = static_cast<int>(row) * row_size;
        const int high = low + row_size - 1;
        for (std::size_t i = 0; i < opaque_.size(); ++i) {
            const int values[] = {opaque_[i].b, opaque_[i].g, opaque_[i].r};
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const int value = values[channel];
                const int near = value < low ? low - value : value > high ? value - high : 0;
                const int far = std::max(value - low, high - value);
                nearest_[channel][row][i] = near * near;
                farthest_[channel][row][i] = far * far;
            }
        }
    }
}

std::uint8_t NearestColor::Search(unsigned b, unsigned g, unsigned r) {
    const std::size_t block = BlockOf(b, g, r);
    if (blocks_[block].count == 0) FillBlock(block);
    const Candidate* candidate = &candidates_[blocks_[block].first];
    const Candidate* const end = candidate + blocks_[block].count;
    int best = std::numeric_limits<int>::max();
    std::uint8_t index = 0;
    for (; candidate != end; ++candidate) {
        const int x = candidate->b - static_cast<int>(b);
        const int y = candidate->g - static_cast<int>(g);
        const int z = candidate->r - static_cast<int>(r);
        const int distance = x * x + y * y + z * z;
        if (distance >= best) continue;
        best = distance;
        index = candidate->index;
    }
    return index;
}

// A colour whose nearest point in the block is farther than another's farthest is never the answer
// there.
void NearestColor::FillBlock(std::size_t block) {
    const std::size_t rows[] = {block % block_rows, block / block_rows % block_rows,
                                block / (block_rows * block_rows)};
    const std::size_t count = opaque_.size();
    const auto distance = [&](const auto& table, std::size_t i) {
        return table[0][rows[0]][i] + table[1][rows[1]][i] + table[2][rows[2]][i];
    };
    std::int32_t limit = std::numeric_limits<std::int32_t>::max();
    for (std::size_t i = 0; i < count; ++i) limit = std::min(limit, distance(farthest_, i));
    blocks_[block].first = static_cast<std::uint32_t>(candidates_.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (distance(nearest_, i) <= limit) candidates_.push_back(opaque_[i]);
    }
    blocks_[block].count = static_cast<std::uint32_t>(candidates_.size()) - blocks_[block].first;
}

std::uint8_t NearestColor::FillCell(std::size_t cell) {
    constexpr unsigned shift = 8 - cell_bits;
    constexpr std::size_t mask = (std::size_t{1} << cell_bits) - 1;
    const auto middle = [&](int channel) {
        return static_cast<unsigned>(cell >> (channel * cell_bits) & mask) << shift |
               1u << (shift - 1);
    };
    const std::uint8_t index = Search(middle(0), middle(1), middle(2));
    cells_[cell] = index;
    return index;
}

}  // namespace Vimbrel

// Which colour of a palette is nearest to a given one.
#pragma once

#include <wincodec.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Vimbrel {

// Distances are Euclidean in RGB; of equally near colours the first wins, so results do not depend
// on the order of the questions. Colours that are not opaque are never an answer (index 0 is, if
// there is no other). Not for several threads.
class NearestColor {
public:
    // 1 to 256 colours.
    explicit NearestColor(std::span<const WICColor> colors);

    std::uint8_t Exact(unsigned b, unsigned g, unsigned r) {
        const std::uint32_t color = r << 16 | g << 8 | b;
        Recent& recent = recent_[(color * 0x9E3779B1u) >> (32 - recent_bits)];
        if (recent.color != color) recent = {color, Search(b, g, r)};
        return recent.index;
    }

    // The answer for the middle of a small cell around the colour, unless several colours of the
    // palette share that cell: error diffusion repairs the difference, and most questions cost one
    // look into a table.
    std::uint8_t Approximate(unsigned b, unsigned g, unsigned r) {
        const std::size_t cell = CellOf(b, g, r);
        const std::uint16_t known = cells_[cell];
        if (known < unknown) return static_cast<std::uint8_t>(known);
        return known == crowded ? Exact(b, g, r) : FillCell(cell);
    }

private:
    static constexpr int cell_bits = 6;  // per channel
    static constexpr int recent_bits = 12;
    static constexpr std::uint16_t unknown = 0xFFFE;
    static constexpr std::uint16_t crowded = 0xFFFF;

    struct Recent {
        std::uint32_t color = 0xFFFFFFFFu;
        std::uint8_t index = 0;
    };

    static constexpr std::size_t CellOf(unsigned b, unsigned g, unsigned r) {
        constexpr unsigned shift = 8 - cell_bits;
        return std::size_t{r >> shift} << (2 * cell_bits) | std::size_t{g >> shift} << cell_bits |
               b >> shift;
    }

    // A coarser cell, with the colours that can be nearest to anything in it.
    static constexpr int block_bits = 4;  // per channel
    static constexpr std::size_t block_rows = std::size_t{1} << block_bits;
    struct Block {
        std::uint32_t first = 0;  // in candidates_
        std::uint32_t count = 0;  // 0 until it is first needed
    };

    static constexpr std::size_t BlockOf(unsigned b, unsigned g, unsigned r) {
        constexpr unsigned shift = 8 - block_bits;
        return std::size_t{r >> shift} << (2 * block_bits) | std::size_t{g >> shift} << block_bits |
               b >> shift;
    }

    std::uint8_t Search(unsigned b, unsigned g, unsigned r);
    void FillBlock(std::size_t block);
    std::uint8_t FillCell(std::size_t cell);

    struct Candidate {
        std::int16_t b;
        std::int16_t g;
        std::int16_t r;
        std::uint8_t index;
    };

    std::vector<Candidate> opaque_;
    // Squared distances along one channel from each opaque colour to the nearest and the farthest
    // value of each row of blocks.
    std::array<std::array<std::array<std::int32_t, 256>, block_rows>, 3> nearest_;
    std::array<std::array<std::array<std::int32_t, 256>, block_rows>, 3> farthest_;
    std::vector<Block> blocks_;
    std::vector<Candidate> candidates_;
    std::vector<std::uint16_t> cells_;
    std::vector<Recent> recent_;
};

}  // namespace Vimbrel

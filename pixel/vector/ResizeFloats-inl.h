// The two steps of the bilinear resize in floats: within a source row, and between two rows so
// made.
#if defined(VIMBREL_PIXEL_RESIZE_FLOATS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#undef VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#else
#define VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#endif

#include "pixel/Kernels.h"
#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

using Floats = hn::ScalableTag<float>;
using FloatVec = hn::Vec<Floats>;
constexpr Floats floats;
constexpr hn::ScalableTag<std::int32_t> signed_dwords;
constexpr std::int32_t vector_floats = vector_bytes / 4;

// A vector of pixels as floats. It has members rather than an array because a loop over an array
// would keep it in memory.
struct FloatBlock {
    FloatVec v0, v1, v2, v3;

    static HWY_INLINE FloatBlock Load(const float* from) {
        constexpr std::int32_t n = vector_floats;
        return {hn::LoadU(floats, from), hn::LoadU(floats, from + n),
                hn::LoadU(floats, from + 2 * n), hn::LoadU(floats, from + 3 * n)};
    }
    HWY_INLINE void Store(float* to) const {
        constexpr std::int32_t n = vector_floats;
        hn::StoreU(v0, floats, to);
        hn::StoreU(v1, floats, to + n);
        hn::StoreU(v2, floats, to + 2 * n);
        hn::StoreU(v3, floats, to + 3 * n);
    }
    HWY_INLINE FloatBlock Minus(const FloatBlock& other) const {
        return {hn::Sub(v0, other.v0), hn::Sub(v1, other.v1), hn::Sub(v2, other.v2),
                hn::Sub(v3, other.v3)};
    }
};

// Goes through the columns of a plan in blocks of whole vectors of pixels. Where a plan repeats
// itself, one tile's tables serve for all its uniform tiles and stay in the nearest cache.
template <bool paired>
class ColumnWalk {
public:
    HWY_INLINE ColumnWalk(const ResizePlan& plan, const std::uint8_t* source_row)
        : source(source_row),
          places(paired ? plan.PairStarts() : plan.ColumnIndexes()),
          selections(plan.PairSelections()),
          weights(plan.ColumnWeights()),
          tile(plan.tile),
          tile_bytes(4 * static_cast<std::ptrdiff_t>(plan.tile_stride)),
          repeats(plan.uniform_tiles - 1),
          left(repeats),
          tile_end(repeats > 0 ? 2 * plan.tile : 0) {}

    // The next block; each 16 bytes are a column.
    HWY_INLINE FloatBlock Next() {
        if (tile_end != 0 && column == tile_end) EndTile();
        constexpr std::int32_t n = vector_blocks;
        const std::int32_t first = column;
        column += 4 * n;
        return {Interpolate(first), Interpolate(first + n), Interpolate(first + 2 * n),
                Interpolate(first + 3 * n)};
    }

private:
    // Uses the tile's tables again for the tile that follows, or goes on after the last such one.
    HWY_INLINE void EndTile() {
        if (left > 0) {
            --left;
            column -= tile;
            source += tile_bytes;
        } else {
            column += repeats * tile;
            source -= repeats * tile_bytes;
            tile_end = 0;
        }
    }

    // The source pixels of a pair of columns in each 16 bytes.
    HWY_INLINE ByteVec PairPixels(std::int32_t of) const {
        if constexpr (paired) {
            const std::int32_t start = places[static_cast<std::uint32_t>(of) / 2];
            return hn::LoadDup128(bytes, source + 4 * static_cast<std::ptrdiff_t>(start));
        } else {
            HWY_ALIGN std::uint8_t pixels[16];
            const std::int32_t* pair = places + (of & ~1);
            for (std::int32_t i = 0; i < 2; ++i)
                std::memcpy(pixels + 8 * i, source + 4 * static_cast<std::ptrdiff_t>(pair[i]), 8);
            return hn::LoadDup128(bytes, pixels);
        }
    }

    // The difference of two bytes is the same number in integers and in floats; in integers it
    // takes one conversion less.
    HWY_INLINE FloatVec Interpolate(std::int32_t of) const {
#if HWY_CAP_GE512
        const ByteVec pixels = hn::ConcatUpperLower(bytes, PairPixels(of + 2), PairPixels(of));
#else
        const ByteVec pixels = PairPixels(of);
#endif
        const auto both = hn::BitCast(
            signed_words,
            hn::TableLookupBytesOr0(
                pixels, hn::LoadU(bytes, selections + 16 * static_cast<std::ptrdiff_t>(of))));
        const auto signs = hn::BitCast(signed_words, hn::Set(signed_dwords, 0x0001FFFF));
        const auto left = hn::And(hn::BitCast(signed_dwords, both), hn::Set(signed_dwords, 0xFFFF));
        const FloatVec difference = hn::ConvertTo(floats, PairSums(both, signs));
        const FloatVec weight = hn::LoadU(floats, weights + 4 * static_cast<std::ptrdiff_t>(of));
        return hn::Add(hn::ConvertTo(floats, left), hn::Mul(difference, weight));
    }

    const std::uint8_t* source;
    const std::int32_t* places;
    const std::uint8_t* selections;
    const float* weights;
    std::int32_t tile;
    std::ptrdiff_t tile_bytes;
    std::int32_t repeats;
    std::int32_t left;      // repetitions
    std::int32_t tile_end;  // the column after tile 1 while tiles are repeated
    std::int32_t column = 0;
};

template <bool paired>
HWY_INLINE void WalkColumns(const ResizePlan& plan, const std::uint8_t* source, float* row) {
    ColumnWalk<paired> walk(plan, source);
    const std::int32_t width = plan.destination.width;
    for (std::int32_t x = 0; x < width; x += vector_floats, row += vector_bytes)
        walk.Next().Store(row);
}

inline void FloatColumns(const ResizePlan& plan, const std::uint8_t* source, float* row) {
    if (plan.paired != 0) {
        WalkColumns<true>(plan, source, row);
    } else {
        WalkColumns<false>(plan, source, row);
    }
}

HWY_INLINE ByteVec Between(const FloatBlock& upper, const FloatBlock& difference, FloatVec weight) {
    const auto rounded = [weight](FloatVec above, FloatVec beyond)
                             HWY_ATTR { return Rounded(hn::Add(above, hn::Mul(beyond, weight))); };
    const SignedWordVec front = hn::ReorderDemote2To(signed_words, rounded(upper.v0, difference.v0),
                                                     rounded(upper.v1, difference.v1));
    const SignedWordVec back = hn::ReorderDemote2To(signed_words, rounded(upper.v2, difference.v2),
                                                    rounded(upper.v3, difference.v3));
    return Reorder(SaturatedBytes(front, back), packed_column_order);
}

template <bool paired>
HWY_INLINE void WalkRows(const ResizePlan& plan, float* row, const std::uint8_t* source,
                         const RowsBetween& rows) {
    ColumnWalk<paired> walk(plan, source);
    const std::int32_t width = plan.destination.width;
    const RowsBetween to = rows;
    for (std::int32_t x = 0; x < width; x += vector_floats, row += vector_bytes) {
        const FloatBlock upper = FloatBlock::Load(row);
        const FloatBlock lower = walk.Next();
        lower.Store(row);
        const FloatBlock difference = lower.Minus(upper);
        std::uint8_t* destination = to.destination + 4 * static_cast<std::ptrdiff_t>(x);
        for (std::int32_t i = 0; i < to.count; ++i, destination += to.step) {
            const ByteVec pixels = Between(upper, difference, hn::Set(floats, to.weights[i]));
            if (x + vector_floats <= width) {
                hn::StoreU(pixels, bytes, destination);
            } else {
                HWY_ALIGN std::uint8_t rest[vector_bytes];
                hn::Store(pixels, bytes, rest);
                std::memcpy(destination, rest, 4 * static_cast<std::size_t>(width - x));
            }
        }
    }
}

inline void FloatRows(const ResizePlan& plan, float* row, const std::uint8_t* source,
                      const RowsBetween& rows) {
    if (plan.paired != 0) {
        WalkRows<true>(plan, row, source, rows);
    } else {
        WalkRows<false>(plan, row, source, rows);
    }
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

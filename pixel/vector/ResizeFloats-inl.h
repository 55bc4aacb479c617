// The two steps of the bilinear resize in floats: within a source row, and between two rows so
// made.
#if defined(VIMBREL_PIXEL_RESIZE_FLOATS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#undef VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#else
#define VIMBREL_PIXEL_RESIZE_FLOATS_INL_H
#endif

#include <algorithm>

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

// Columns whose tables follow one another, and the source row that they index. As many of them as
// `sharing` says lie in the same window of source pixels.
template <std::int32_t sharing>
class ColumnRun {
public:
    HWY_INLINE ColumnRun(const ResizePlan& plan, std::int32_t first, const std::uint8_t* source_row)
        : source(source_row),
          places(sharing > 1 ? plan.PairStarts() + first / 2 : plan.ColumnIndexes() + first),
          selections(plan.Selections(vector_blocks) + 16 * static_cast<std::ptrdiff_t>(first)),
          weights(plan.VectorWeights(vector_blocks) + 4 * static_cast<std::ptrdiff_t>(first)) {}

    // A vector of pixels from this column of the run. Each 16 bytes are a column; those of one
    // vector are four columns apart, so that packing puts them in order.
    HWY_INLINE FloatBlock At(std::ptrdiff_t column) const {
        constexpr std::int32_t n = vector_blocks;
        const std::int32_t* near = places + (sharing > 1 ? column / 2 : column);
        const std::uint8_t* select = selections + 16 * column;
        const float* weight = weights + 4 * column;
        const ByteVec front = Pixels<0>(near);
        const ByteVec back = sharing == 4 ? front : Pixels<1>(near);
        return {Interpolate(front, select, weight),
                Interpolate(front, select + 16 * n, weight + 4 * n),
                Interpolate(back, select + 32 * n, weight + 8 * n),
                Interpolate(back, select + 48 * n, weight + 12 * n)};
    }

private:
    // The source pixels of the first or second pair among four columns.
    template <std::int32_t pair>
    HWY_INLINE hn::Vec128<std::uint8_t> PairPixels(const std::int32_t* near,
                                                   std::int32_t block) const {
        constexpr hn::Full128<std::uint8_t> window;
        if constexpr (sharing > 1) {
            const std::ptrdiff_t start = near[2 * block + pair];
            return hn::LoadU(window, source + 4 * start);
        } else {
            HWY_ALIGN std::uint8_t pixels[16];
            for (std::int32_t i = 0; i < 2; ++i) {
                const std::ptrdiff_t index = near[4 * block + 2 * pair + i];
                std::memcpy(pixels + 8 * i, source + 4 * index, 8);
            }
            return hn::Load(window, pixels);
        }
    }

    template <std::int32_t pair>
    HWY_INLINE ByteVec Pixels(const std::int32_t* near) const {
#if HWY_CAP_GE512
        constexpr hn::Full256<std::uint8_t> half;
        return hn::Combine(bytes,
                           hn::Combine(half, PairPixels<pair>(near, 3), PairPixels<pair>(near, 2)),
                           hn::Combine(half, PairPixels<pair>(near, 1), PairPixels<pair>(near, 0)));
#elif HWY_CAP_GE256
        return hn::Combine(bytes, PairPixels<pair>(near, 1), PairPixels<pair>(near, 0));
#else
        return PairPixels<pair>(near, 0);
#endif
    }

    // The difference of two bytes is the same number in integers and in floats; in integers it
    // takes one conversion less.
    static HWY_INLINE FloatVec Interpolate(ByteVec pixels, const std::uint8_t* select,
                                           const float* weight) {
        const auto both =
            hn::BitCast(signed_words, hn::TableLookupBytesOr0(pixels, hn::LoadU(bytes, select)));
        const auto signs = hn::BitCast(signed_words, hn::Set(signed_dwords, 0x0001FFFF));
        const auto left = hn::And(hn::BitCast(signed_dwords, both), hn::Set(signed_dwords, 0xFFFF));
        const FloatVec difference = hn::ConvertTo(floats, PairSums(both, signs));
        return hn::Add(hn::ConvertTo(floats, left), hn::Mul(difference, hn::LoadU(floats, weight)));
    }

    const std::uint8_t* source;
    const std::int32_t* places;
    const std::uint8_t* selections;
    const float* weights;
};

// Gives `work` the columns of a plan in runs. Where a plan repeats itself, one tile's tables serve
// for all its uniform tiles and stay in the nearest cache.
template <std::int32_t sharing, class Work>
HWY_INLINE void WalkColumns(const ResizePlan& plan, const std::uint8_t* source, const Work& work) {
    const std::int32_t width = plan.destination.width;
    const std::int32_t tile = plan.tile;
    std::int32_t x = 0;
    if (plan.uniform_tiles > 1) {
        const std::ptrdiff_t tile_bytes = 4 * static_cast<std::ptrdiff_t>(plan.tile_stride);
        work.Run(ColumnRun<sharing>(plan, 0, source), 0, std::min(2 * tile, width));
        const std::uint8_t* shifted = source;
        const std::int32_t end = (plan.uniform_tiles + 1) * tile;
        for (x = 2 * tile; x < end; x += tile) {
            shifted += tile_bytes;
            work.Run(ColumnRun<sharing>(plan, tile, shifted), x, std::min(tile, width - x));
        }
    }
    if (x < width) work.Run(ColumnRun<sharing>(plan, x, source), x, width - x);
}

struct MakeFloatRow {
    float* row;

    template <std::int32_t sharing>
    HWY_INLINE void Run(const ColumnRun<sharing>& columns, std::int32_t x,
                        std::int32_t count) const {
        float* to = row + 4 * static_cast<std::ptrdiff_t>(x);
        for (std::ptrdiff_t i = 0; i < count; i += vector_floats, to += vector_bytes)
            columns.At(i).Store(to);
    }
};

// Gives the columns to `work` by the widest windows that the plan has and a vector can use.
template <class Work>
HWY_INLINE void ForColumns(const ResizePlan& plan, const std::uint8_t* source, const Work& work) {
    if (plan.foursomes != 0) {
        WalkColumns<4>(plan, source, work);
    } else if (plan.paired != 0) {
        WalkColumns<2>(plan, source, work);
    } else {
        WalkColumns<1>(plan, source, work);
    }
}

inline void FloatColumns(const ResizePlan& plan, const std::uint8_t* source, float* row) {
    ForColumns(plan, source, MakeFloatRow{row});
}

// A product with one half is exact, so that one rounding of product and sum gives the same.
enum class RowWeight { any, half };

template <RowWeight kind>
HWY_INLINE ByteVec Between(const FloatBlock& upper, const FloatBlock& difference, FloatVec weight) {
    const auto rounded = [weight](FloatVec above, FloatVec beyond) HWY_ATTR {
        if constexpr (kind == RowWeight::half) return Rounded(hn::MulAdd(beyond, weight, above));
        return Rounded(hn::Add(hn::Mul(beyond, weight), above));
    };
    const SignedWordVec front = hn::ReorderDemote2To(signed_words, rounded(upper.v0, difference.v0),
                                                     rounded(upper.v1, difference.v1));
    const SignedWordVec back = hn::ReorderDemote2To(signed_words, rounded(upper.v2, difference.v2),
                                                    rounded(upper.v3, difference.v3));
    return SaturatedBytes(front, back);
}

// Writes the destination rows between `row` and the source row, `count` of them or, if that is 0,
// as many as `to` says. With a number known to the compiler their weights stay in registers.
template <int count, RowWeight kind = RowWeight::any>
struct WriteRowsBetween {
    float* row;
    RowsBetween to;

    template <std::int32_t sharing>
    HWY_INLINE void Run(const ColumnRun<sharing>& columns, std::int32_t x,
                        std::int32_t width) const {
        float* upper_row = row + 4 * static_cast<std::ptrdiff_t>(x);
        std::uint8_t* destination = to.destination + 4 * static_cast<std::ptrdiff_t>(x);
        const FloatVec first = hn::Set(floats, to.weights[0]);
        const FloatVec second = hn::Set(floats, to.weights[count == 2 ? 1 : 0]);
        std::ptrdiff_t i = 0;
        for (; i + vector_floats <= width;
             i += vector_floats, upper_row += vector_bytes, destination += vector_bytes) {
            const FloatBlock upper = FloatBlock::Load(upper_row);
            const FloatBlock lower = columns.At(i);
            lower.Store(upper_row);
            const FloatBlock difference = lower.Minus(upper);
            if constexpr (count == 0) {
                std::uint8_t* line = destination;
                for (std::int32_t r = 0; r < to.count; ++r, line += to.step)
                    hn::StoreU(Between<kind>(upper, difference, hn::Set(floats, to.weights[r])),
                               bytes, line);
            } else {
                hn::StoreU(Between<kind>(upper, difference, first), bytes, destination);
                if constexpr (count == 2)
                    hn::StoreU(Between<kind>(upper, difference, second), bytes,
                               destination + to.step);
            }
        }
        if (i < width) WriteRest(columns, i, static_cast<std::size_t>(width - i), upper_row);
    }

private:
    // The last pixels of a row, less than a vector.
    template <std::int32_t sharing>
    HWY_INLINE void WriteRest(const ColumnRun<sharing>& columns, std::ptrdiff_t i,
                              std::size_t pixels, float* upper_row) const {
        std::uint8_t* destination = to.destination + (upper_row - row);
        const FloatBlock upper = FloatBlock::Load(upper_row);
        const FloatBlock lower = columns.At(i);
        lower.Store(upper_row);
        const FloatBlock difference = lower.Minus(upper);
        for (std::int32_t r = 0; r < to.count; ++r, destination += to.step) {
            HWY_ALIGN std::uint8_t rest[vector_bytes];
            hn::Store(Between<kind>(upper, difference, hn::Set(floats, to.weights[r])), bytes,
                      rest);
            std::memcpy(destination, rest, 4 * pixels);
        }
    }
};

inline void FloatRows(const ResizePlan& plan, float* row, const std::uint8_t* source,
                      const RowsBetween& rows) {
    if (rows.count == 1 && rows.weights[0] == 0.5F) {
        ForColumns(plan, source, WriteRowsBetween<1, RowWeight::half>{row, rows});
    } else if (rows.count == 1) {
        ForColumns(plan, source, WriteRowsBetween<1>{row, rows});
    } else if (rows.count == 2) {
        ForColumns(plan, source, WriteRowsBetween<2>{row, rows});
    } else {
        ForColumns(plan, source, WriteRowsBetween<0>{row, rows});
    }
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

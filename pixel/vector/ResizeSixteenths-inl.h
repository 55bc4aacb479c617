// The bilinear resize by weights in sixteenths, in 16-bit integers: within a source row, between
// two rows so made, and both at once where both axes are halved.
#if defined(VIMBREL_PIXEL_RESIZE_SIXTEENTHS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_RESIZE_SIXTEENTHS_INL_H
#undef VIMBREL_PIXEL_RESIZE_SIXTEENTHS_INL_H
#else
#define VIMBREL_PIXEL_RESIZE_SIXTEENTHS_INL_H
#endif

#include "pixel/Kernels.h"
#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

constexpr hn::ScalableTag<std::int8_t> signed_bytes;

// Left and right pixel of two columns.
HWY_INLINE hn::Vec128<std::uint64_t> LoadTwoColumns(const std::uint8_t* source,
                                                    const std::int32_t* indexes) {
    HWY_ALIGN std::uint64_t pixels[2];
    std::memcpy(&pixels[0], source + 4 * static_cast<std::ptrdiff_t>(indexes[0]), 8);
    std::memcpy(&pixels[1], source + 4 * static_cast<std::ptrdiff_t>(indexes[1]), 8);
    return hn::Load(hn::Full128<std::uint64_t>(), pixels);
}

// The plan's tables, found once per row.
struct ColumnTables {
    const std::int32_t* indexes;
    const std::int32_t* starts;
    const std::int32_t* samples;
    std::int32_t columns;

    explicit ColumnTables(const ResizePlan& plan)
        : indexes(plan.ColumnIndexes()),
          starts(plan.GroupStarts()),
          samples(plan.GroupSamples()),
          columns(static_cast<std::int32_t>(plan.Columns())) {}
};

// A group's samples: left and right pixel of its first column, of its second column ... Each block
// of the vectors that are taken from it begins with, or has as its half, what `InterpolateColumns`
// expects there.
struct GroupSamples {
#if HWY_CAP_GE256
    // By a window of neighbouring pixels, or column by column.
    template <bool compact>
    static HWY_INLINE hn::Vec256<std::uint64_t> LoadGroup(const ColumnTables& tables,
                                                          const std::uint8_t* source,
                                                          std::int32_t first) {
        constexpr hn::Full256<std::uint64_t> qwords;
        if constexpr (compact) {
            constexpr hn::Full256<std::uint32_t> group_dwords;
            const std::uint8_t* window =
                source + 4 * static_cast<std::ptrdiff_t>(tables.starts[first / resize_group]);
            const auto order = hn::SetTableIndices(
                group_dwords, tables.samples + 2 * static_cast<std::ptrdiff_t>(first));
            const auto pixels =
                hn::BitCast(group_dwords, hn::LoadU(hn::Full256<std::uint8_t>(), window));
            return hn::BitCast(qwords, hn::TableLookupLanes(pixels, order));
        } else {
            const std::int32_t* indexes = tables.indexes + first;
            return hn::Combine(qwords, LoadTwoColumns(source, indexes + 2),
                               LoadTwoColumns(source, indexes));
        }
    }
#endif

    template <bool compact>
    HWY_INLINE void Load(const ColumnTables& tables, const std::uint8_t* source,
                         std::int32_t first) {
#if HWY_CAP_GE512
        constexpr hn::ScalableTag<std::uint64_t> qwords;
        HWY_ALIGN static constexpr std::int64_t apart[8] = {0, 0, 1, 1, 2, 2, 3, 3};
        const auto wide = hn::ZeroExtendVector(qwords, LoadGroup<compact>(tables, source, first));
        samples[0] =
            hn::BitCast(bytes, hn::TableLookupLanes(wide, hn::SetTableIndices(qwords, apart)));
#elif HWY_CAP_GE256
        samples[0] = hn::BitCast(bytes, LoadGroup<compact>(tables, source, first));
#else
        samples[0] = hn::BitCast(bytes, LoadTwoColumns(source, tables.indexes + first));
        samples[1] = hn::BitCast(bytes, LoadTwoColumns(source, tables.indexes + first + 2));
#endif
    }

    static constexpr int vectors = vector_blocks == 1 ? 2 : 1;
    ByteVec samples[vectors];
};

// Left and right bytes of each of two columns side by side.
constexpr std::uint8_t zipped_columns[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};

// Both bytes of a column and channel multiplied by their weights and summed.
HWY_INLINE void WeighColumns(ByteVec samples, const std::int8_t* weights, std::uint16_t* row) {
    const ByteVec zipped = hn::TableLookupBytes(samples, EachBlock(zipped_columns));
    hn::StoreU(hn::BitCast(words, PairSums(zipped, hn::LoadU(signed_bytes, weights))), words, row);
}

// From one column to before another, both of which begin two groups.
template <bool compact>
HWY_INLINE void ColumnGroups(const ResizePlan& plan, const std::uint8_t* source, std::int32_t from,
                             std::int32_t to, std::uint16_t* row) {
    const ColumnTables tables(plan);
    const std::int8_t* weights = plan.ByteWeights() + 8 * static_cast<std::ptrdiff_t>(from);
    row += 4 * static_cast<std::ptrdiff_t>(from);
    for (std::int32_t first = from; first < to;
         first += 2 * resize_group, row += 8 * resize_group, weights += 16 * resize_group) {
#if HWY_CAP_GE512
        const auto both =
            hn::Combine(hn::ScalableTag<std::uint64_t>(),
                        GroupSamples::LoadGroup<compact>(tables, source, first + resize_group),
                        GroupSamples::LoadGroup<compact>(tables, source, first));
        WeighColumns(hn::BitCast(bytes, both), weights, row);
#else
        for (std::int32_t i = 0; i < 2; ++i) {
            GroupSamples group;
            group.Load<compact>(tables, source, first + i * resize_group);
            for (std::int32_t k = 0; k < GroupSamples::vectors; ++k) {
                const std::int32_t vector = i * GroupSamples::vectors + k;
                WeighColumns(group.samples[k], weights + vector * vector_bytes,
                             row + vector * vector_bytes / 2);
            }
        }
#endif
    }
}

#if HWY_CAP_GE256
HWY_INLINE hn::Vec256<std::int16_t> GroupPairSums(hn::Vec256<std::uint8_t> samples,
                                                  hn::Vec256<std::int8_t> weights) {
    return hn::Vec256<std::int16_t>{_mm256_maddubs_epi16(samples.raw, weights.raw)};
}

// The groups that are all alike, with their samples' order and weights at hand.
HWY_INLINE void UniformGroups(const ResizePlan& plan, const std::uint8_t* source, std::int32_t from,
                              std::int32_t to, std::uint16_t* row) {
    constexpr hn::Full256<std::uint8_t> group_bytes;
    constexpr hn::Full256<std::uint32_t> group_dwords;
    const auto order = hn::SetTableIndices(
        group_dwords, plan.GroupSamples() + 2 * static_cast<std::ptrdiff_t>(from));
    const auto zip = hn::LoadDup128(group_bytes, zipped_columns);
    const auto weights = hn::LoadU(hn::Full256<std::int8_t>(),
                                   plan.ByteWeights() + 8 * static_cast<std::ptrdiff_t>(from));
    const std::ptrdiff_t stride = 4 * static_cast<std::ptrdiff_t>(plan.uniform_stride);
    const std::uint8_t* window =
        source + 4 * static_cast<std::ptrdiff_t>(plan.GroupStarts()[from / resize_group]);
    row += 4 * static_cast<std::ptrdiff_t>(from);
    for (std::int32_t first = from; first < to;
         first += resize_group, window += stride, row += 4 * resize_group) {
        const auto pixels =
            hn::TableLookupLanes(hn::BitCast(group_dwords, hn::LoadU(group_bytes, window)), order);
        const auto samples = hn::TableLookupBytes(hn::BitCast(group_bytes, pixels), zip);
        hn::StoreU(GroupPairSums(samples, weights), hn::Full256<std::int16_t>(),
                   reinterpret_cast<std::int16_t*>(row));
    }
}
#endif

inline void SixteenthColumns(const ResizePlan& plan, const std::uint8_t* source,
                             std::uint16_t* row) {
    const auto columns = static_cast<std::int32_t>(plan.Columns());
    if (plan.compact == 0) {
        ColumnGroups<false>(plan, source, 0, columns, row);
        return;
    }
    std::int32_t done = 0;
#if HWY_CAP_GE256
    constexpr std::int32_t step = 2 * resize_group;
    const std::int32_t uniform_end = plan.uniform_end * resize_group / step * step;
    if (uniform_end > step) {
        ColumnGroups<true>(plan, source, 0, step, row);
        UniformGroups(plan, source, step, uniform_end, row);
        done = uniform_end;
    }
#endif
    ColumnGroups<true>(plan, source, done, columns, row);
}

// Puts right the columns of two vectors of words, packed together to one of bytes.
constexpr DwordOrder PackedWordOrder() {
    DwordOrder order{};
    for (int column = 0; column < vector_bytes / 4; ++column) {
        const int within = column % (2 * vector_blocks);
        order.from[column] = within / 2 * 4 + column / (2 * vector_blocks) * 2 + within % 2;
    }
    return order;
}
constexpr DwordOrder packed_word_order = PackedWordOrder();

// In 256ths, rounded to the nearest whole number, ties to even.
HWY_INLINE SignedWordVec BetweenSixteenths(const std::uint16_t* upper, const std::uint16_t* lower,
                                           WordVec weight) {
    const WordVec above = hn::LoadU(words, upper);
    const WordVec difference = hn::Sub(hn::LoadU(words, lower), above);
    const WordVec sum = hn::Add(hn::ShiftLeft<4>(above), hn::Mul(difference, weight));
    const WordVec odd = hn::And(hn::ShiftRight<8>(sum), hn::Set(words, 1));
    return hn::BitCast(signed_words,
                       hn::ShiftRight<8>(hn::Add(sum, hn::Add(odd, hn::Set(words, 127)))));
}

HWY_INLINE ByteVec SixteenthBlock(const std::uint16_t* upper, const std::uint16_t* lower,
                                  WordVec weight) {
    constexpr std::int32_t n = vector_bytes / 2;
    const ByteVec packed = SaturatedBytes(BetweenSixteenths(upper, lower, weight),
                                          BetweenSixteenths(upper + n, lower + n, weight));
    return Reorder(packed, packed_word_order);
}

// Writes a row of pixels block by block; rows of samples have whole blocks, so only the last one of
// pixels goes by way of the stack.
template <class Sample, class Weight>
HWY_INLINE void PutRow(const Sample* upper, const Sample* lower, Weight weight,
                       std::uint8_t* destination, std::int32_t width,
                       ByteVec (*block)(const Sample*, const Sample*, Weight)) {
    constexpr std::int32_t pixels = vector_bytes / 4;
    std::int32_t x = 0;
    for (; x + pixels <= width;
         x += pixels, upper += vector_bytes, lower += vector_bytes, destination += vector_bytes) {
        hn::StoreU(block(upper, lower, weight), bytes, destination);
    }
    if (x == width) return;
    HWY_ALIGN std::uint8_t rest[vector_bytes];
    hn::Store(block(upper, lower, weight), bytes, rest);
    std::memcpy(destination, rest, 4 * static_cast<std::size_t>(width - x));
}

inline void SixteenthRows(const std::uint16_t* upper, const std::uint16_t* lower, float weight,
                          std::uint8_t* destination, std::int32_t width) {
    PutRow(upper, lower, hn::Set(words, static_cast<std::uint16_t>(weight * 16)), destination,
           width, SixteenthBlock);
}

// A quarter of each sum of four bytes, to the nearest whole number, ties to even.
HWY_INLINE SignedWordVec Quarters(WordVec sums) {
    const WordVec odd = hn::And(hn::ShiftRight<2>(sums), hn::Set(words, 1));
    return hn::BitCast(signed_words,
                       hn::ShiftRight<2>(hn::Add(sums, hn::Add(odd, hn::Set(words, 1)))));
}

HWY_INLINE SignedWordVec MeansOfFour(const std::uint8_t* upper, const std::uint8_t* lower) {
    const auto ones = hn::Set(signed_bytes, 1);
    const ByteVec order = EachBlock(zipped_columns);
    const auto above = PairSums(hn::TableLookupBytes(hn::LoadU(bytes, upper), order), ones);
    const auto below = PairSums(hn::TableLookupBytes(hn::LoadU(bytes, lower), order), ones);
    return Quarters(hn::BitCast(words, hn::Add(above, below)));
}

inline void HalveRow(const std::uint8_t* upper, const std::uint8_t* lower,
                     std::uint8_t* destination, std::int32_t width) {
    constexpr std::int32_t pixels = vector_bytes / 4;
    std::int32_t x = 0;
    for (; x + pixels <= width; x += pixels, upper += 2 * vector_bytes, lower += 2 * vector_bytes,
                                destination += vector_bytes) {
        const ByteVec packed = SaturatedBytes(
            MeansOfFour(upper, lower), MeansOfFour(upper + vector_bytes, lower + vector_bytes));
        hn::StoreU(Reorder(packed, packed_word_order), bytes, destination);
    }
    for (; x < width; ++x, upper += 8, lower += 8, destination += 4) {
        for (int channel = 0; channel < 4; ++channel) {
            const int sum =
                upper[channel] + upper[channel + 4] + lower[channel] + lower[channel + 4];
            destination[channel] = static_cast<std::uint8_t>((sum + 1 + (sum >> 2 & 1)) >> 2);
        }
    }
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

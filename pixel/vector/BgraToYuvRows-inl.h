// BGRA into 4:2:0: two rows of luma, and the chroma that they share.
#if defined(VIMBREL_PIXEL_BGRA_TO_YUV_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_BGRA_TO_YUV_ROWS_INL_H
#undef VIMBREL_PIXEL_BGRA_TO_YUV_ROWS_INL_H
#else
#define VIMBREL_PIXEL_BGRA_TO_YUV_ROWS_INL_H
#endif

#include "pixel/Kernels.h"
#include "pixel/reference/BgraToYuvRows.h"
#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

constexpr hn::ScalableTag<std::int32_t> yuv_dwords;
using YuvDwordVec = hn::Vec<hn::ScalableTag<std::int32_t>>;

// Pixels, or sums of them, as 16-bit numbers.
struct WidePixels {
    SignedWordVec blue_red;
    SignedWordVec green;

    static HWY_INLINE WidePixels Load(const std::uint8_t* from) {
        const WordVec pixels = hn::BitCast(words, hn::LoadU(bytes, from));
        return {hn::BitCast(signed_words, hn::And(pixels, hn::Set(words, 0xFF))),
                hn::BitCast(signed_words, hn::ShiftRight<8>(pixels))};
    }
    HWY_INLINE WidePixels Plus(const WidePixels& other) const {
        return {hn::Add(blue_red, other.blue_red), hn::Add(green, other.green)};
    }
};

// Neighbours summed as whole lanes of 32 bits: the halves stay below 16 bits each.
HWY_INLINE SignedWordVec NeighbourSums(SignedWordVec front, SignedWordVec back) {
    constexpr hn::ScalableTag<std::uint64_t> qwords;
    const auto sums = [qwords](SignedWordVec v) HWY_ATTR {
        return hn::Add(hn::BitCast(dwords, v),
                       hn::BitCast(dwords, hn::ShiftRight<32>(hn::BitCast(qwords, v))));
    };
    return hn::BitCast(signed_words, hn::ConcatEven(dwords, sums(back), sums(front)));
}

HWY_INLINE WidePixels NeighbourSums(const WidePixels& front, const WidePixels& back) {
    return {NeighbourSums(front.blue_red, back.blue_red), NeighbourSums(front.green, back.green)};
}

struct VectorWeights {
    SignedWordVec blue_red;
    SignedWordVec green;
    YuvDwordVec offset;

    HWY_INLINE VectorWeights(const std::int16_t (&weights)[3], int sum_offset)
        : blue_red(Pair(weights[0], weights[2])),
          green(Pair(weights[1], 0)),
          offset(hn::Set(yuv_dwords, sum_offset)) {}

    static HWY_INLINE SignedWordVec Pair(std::int16_t low, std::int16_t high) {
        const std::uint32_t both = static_cast<std::uint16_t>(low) |
                                   static_cast<std::uint32_t>(static_cast<std::uint16_t>(high))
                                       << 16;
        return hn::BitCast(signed_words, hn::Set(dwords, both));
    }
    // What stands above green is the fourth byte, which has no weight.
    HWY_INLINE YuvDwordVec Sum(const WidePixels& pixels) const {
        return hn::Add(hn::Add(PairSums(pixels.blue_red, blue_red), PairSums(pixels.green, green)),
                       offset);
    }
};

struct YuvVectorWeights {
    VectorWeights luma, cb, cr;

    explicit HWY_INLINE YuvVectorWeights(const YuvWeights& weights)
        : luma(weights.luma, yuv_luma_offset),
          cb(weights.cb, yuv_chroma_offset),
          cr(weights.cr, yuv_chroma_offset) {}
};

// The luma of four vectors of pixels.
HWY_INLINE void PutLuma(const VectorWeights& luma, const WidePixels& a, const WidePixels& b,
                        const WidePixels& c, const WidePixels& d, std::uint8_t* to) {
    const auto sum = [&luma](const WidePixels& pixels)
                         HWY_ATTR { return hn::ShiftRight<yuv_weight_bits>(luma.Sum(pixels)); };
    const SignedWordVec front = hn::ReorderDemote2To(signed_words, sum(a), sum(b));
    const SignedWordVec back = hn::ReorderDemote2To(signed_words, sum(c), sum(d));
    hn::StoreU(Reorder(SaturatedBytes(front, back), packed_column_order), bytes, to);
}

// Puts in order two vectors of 32-bit numbers that were packed to one of 16 bits.
constexpr DwordOrder PackedPairOrder() {
    DwordOrder order{};
    for (int vector = 0; vector < 2; ++vector) {
        for (int block = 0; block < vector_blocks; ++block) {
            for (int half = 0; half < 2; ++half)
                order.from[2 * (vector * vector_blocks + block) + half] =
                    2 * (2 * block + vector) + half;
        }
    }
    return order;
}
constexpr DwordOrder packed_pair_order = PackedPairOrder();

HWY_INLINE SignedWordVec ChromaWords(const VectorWeights& weights, const WidePixels& front,
                                     const WidePixels& back) {
    return hn::ReorderDemote2To(signed_words, hn::ShiftRight<yuv_chroma_bits>(weights.Sum(front)),
                                hn::ShiftRight<yuv_chroma_bits>(weights.Sum(back)));
}

// `vector_bytes` pixels of both rows.
template <bool interleaved>
HWY_INLINE void PutYuvBlock(const BgraRowPair& rows, std::ptrdiff_t x,
                            const YuvVectorWeights& weights) {
    const auto load = [&rows, x](int row, int vector) HWY_ATTR {
        return WidePixels::Load(rows.pixels[row] + 4 * x + vector * vector_bytes);
    };
    const WidePixels a = load(0, 0), b = load(0, 1), c = load(0, 2), d = load(0, 3);
    PutLuma(weights.luma, a, b, c, d, rows.luma[0] + x);
    const WidePixels e = load(1, 0), f = load(1, 1), g = load(1, 2), h = load(1, 3);
    PutLuma(weights.luma, e, f, g, h, rows.luma[1] + x);
    const WidePixels front = NeighbourSums(a.Plus(e), b.Plus(f));
    const WidePixels back = NeighbourSums(c.Plus(g), d.Plus(h));
    const SignedWordVec cb = ChromaWords(weights.cb, front, back);
    const SignedWordVec cr = ChromaWords(weights.cr, front, back);
    if constexpr (interleaved) {
        const SignedWordVec both = hn::Or(cb, hn::ShiftLeft<8>(cr));
        hn::StoreU(Reorder(hn::BitCast(bytes, both), packed_pair_order), bytes, rows.chroma + x);
    } else {
        constexpr hn::Half<Bytes> half;
        const ByteVec both = Reorder(SaturatedBytes(cb, cr), packed_column_order);
        hn::StoreU(hn::LowerHalf(half, both), half, rows.chroma + x / 2);
        hn::StoreU(hn::UpperHalf(half, both), half, rows.cr + x / 2);
    }
}

template <bool interleaved>
HWY_INLINE void PutYuvBlocks(const BgraRowPair& rows, const YuvWeights& weights) {
    const YuvVectorWeights all(weights);
    const BgraRowPair own = rows;
    std::ptrdiff_t x = 0;
    for (; x + vector_bytes <= own.width; x += vector_bytes) PutYuvBlock<interleaved>(own, x, all);
    // The last block overlaps the one before it.
    if (x < own.width) PutYuvBlock<interleaved>(own, own.width - vector_bytes, all);
}

inline void BgraToYuvRows(const BgraRowPair& rows, const YuvWeights& weights) {
    if (rows.width < vector_bytes) {
        ReferenceBgraToYuvRows(rows, weights);
    } else if (rows.cr) {
        PutYuvBlocks<false>(rows, weights);
    } else {
        PutYuvBlocks<true>(rows, weights);
    }
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

// The studio matrix in 16-bit lanes, for processors on which the carries of the exact conversion
// cost more than the rest of it.
//
// Sums are in units of which luma's gain makes 128, so that a byte of luma becomes exactly that
// many, and a last rounding multiplication takes them to whole colours. There are 110 units to one
// of these: as many as fit, since luma alone reaches beyond 255. A colour is off by 1 where the sum
// comes within a unit or so of the middle between two, else right; it is never off by more.
#if defined(VIMBREL_PIXEL_STUDIO_ROUNDED_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_STUDIO_ROUNDED_INL_H
#undef VIMBREL_PIXEL_STUDIO_ROUNDED_INL_H
#else
#define VIMBREL_PIXEL_STUDIO_ROUNDED_INL_H
#endif

#include "pixel/Matrices.h"
#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

namespace studio {

constexpr int luma_units = 128;

// Divides, to the nearest.
constexpr std::int32_t Quotient(std::int64_t dividend, std::int64_t divisor) {
    return static_cast<std::int32_t>((2 * dividend + (dividend < 0 ? -divisor : divisor)) /
                                     (2 * divisor));
}

// With the highest bit turned, a byte is less by 128 and signed.
HWY_INLINE ByteVec HighestBitTurned(ByteVec value) { return hn::Xor(value, hn::Set(bytes, 0x80)); }

// Of the lower or the upper bytes, turned. One unit less, since `Whole` multiplies by a little too
// much.
template <bool upper>
HWY_INLINE SignedWordVec Luma(ByteVec turned) {
    const ByteVec gains = hn::BitCast(bytes, hn::Set(words, upper ? luma_units << 8 : luma_units));
    return hn::Add(PairSums(gains, hn::BitCast(hn::ScalableTag<std::int8_t>(), turned)),
                   hn::Set(signed_words, (128 - 16) * luma_units - 1));
}

// Of a turned chroma byte in the upper half of its lane, whose lower half is 0: what a product with
// it is shifted down by.
constexpr int rounding_shift = 15;
constexpr int pair_shift = 16;

constexpr std::int16_t Factor(std::int32_t coefficient, int shift) {
    return static_cast<std::int16_t>(
        Quotient((std::int64_t{coefficient} * luma_units) << (shift - 8), studio_matrix.luma_gain));
}

template <std::int32_t coefficient>
HWY_INLINE SignedWordVec Product(SignedWordVec upper_bytes) {
    return hn::MulFixedPoint15(upper_bytes,
                               hn::Set(signed_words, Factor(coefficient, rounding_shift)));
}

// One value for the even lanes and one for the odd.
HWY_INLINE SignedWordVec Alternating(std::int16_t even, std::int16_t odd) {
    const auto pair = static_cast<std::uint16_t>(even) |
                      static_cast<std::uint32_t>(static_cast<std::uint16_t>(odd)) << 16;
    return hn::BitCast(signed_words, hn::Set(dwords, pair));
}

struct Chroma {
    SignedWordVec red, green, blue;
};

// Cb and Cr, turned, in the upper halves of lanes whose lower halves are 0.
HWY_INLINE Chroma ChromaOf(SignedWordVec cb, SignedWordVec cr) {
    return {Product<studio_matrix.red_cr>(cr),
            hn::Add(Product<studio_matrix.green_cb>(cb), Product<studio_matrix.green_cr>(cr)),
            Product<studio_matrix.blue_cb>(cb)};
}

// The same of two lanes that have Cr and Cb by turns. Nothing is computed twice for the two pixels
// that share them.
HWY_INLINE Chroma ChromaOfPairs(SignedWordVec cr_cb) {
    static constexpr std::uint8_t even[16] = {0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13};
    static constexpr std::uint8_t odd[16] = {2,  3,  2,  3,  6,  7,  6,  7,
                                             10, 11, 10, 11, 14, 15, 14, 15};
    const auto both = [](SignedWordVec lanes, const std::uint8_t(&which)[16]) HWY_ATTR {
        return hn::BitCast(signed_words,
                           hn::TableLookupBytes(hn::BitCast(bytes, lanes), EachBlock(which)));
    };
    const SignedWordVec red_blue =
        hn::MulFixedPoint15(cr_cb, Alternating(Factor(studio_matrix.red_cr, rounding_shift),
                                               Factor(studio_matrix.blue_cb, rounding_shift)));
    const auto green = PairSums(cr_cb, Alternating(Factor(studio_matrix.green_cr, pair_shift),
                                                   Factor(studio_matrix.green_cb, pair_shift)));
    return {both(red_blue, even), both(hn::BitCast(signed_words, green), odd), both(red_blue, odd)};
}

// A colour, not yet limited to a byte.
HWY_INLINE SignedWordVec Whole(SignedWordVec luma, SignedWordVec chroma) {
    constexpr std::int32_t factor =
        Quotient(std::int64_t{studio_matrix.luma_gain} << 15, std::int64_t{luma_units} << 16);
    return hn::MulFixedPoint15(hn::SaturatedAdd(luma, chroma),
                               hn::Set(signed_words, static_cast<std::int16_t>(factor)));
}

}  // namespace studio

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

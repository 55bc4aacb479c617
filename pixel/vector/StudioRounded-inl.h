// The studio matrix in 16-bit lanes with 7 fractional bits, for processors on which the carries of the exact conversion cost
// more than the rest of it. Coefficients have 14 bits and more. A colour is off by 1 where the sum comes within a 64th of a
// whole number, else right; it is never off by more.
//
// All values are less by 128. So whatever leaves a byte's range leaves the lane's once it is doubled, where additions saturate;
// and the result then is the lane's upper byte, with the highest bit turned.
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

// What stands in a lane for a value of the matrix, which has 16 fractional bits.
constexpr std::int32_t Units(std::int64_t value) { return static_cast<std::int32_t>((value + 256) >> 9); }

// Of the lower or the upper bytes, which are less by 128. In these units the gain is so near to a whole number that a byte does.
template <bool upper>
HWY_INLINE SignedWordVec Luma(ByteVec turned) {
    constexpr std::int32_t gain = Units(studio_matrix.luma_gain);
    constexpr std::int32_t offset = Units(studio_matrix.luma_offset + 128 * static_cast<std::int64_t>(studio_matrix.luma_gain)) - 128 * 128;
    static_assert(gain < 256);
    const ByteVec gains = hn::BitCast(bytes, hn::Set(words, upper ? gain << 8 : gain));
    return hn::Add(PairSums(gains, hn::BitCast(hn::ScalableTag<std::int8_t>(), turned)), hn::Set(signed_words, offset));
}

// A chroma byte less 128, in the upper half of its lane, by a coefficient: `share` of it, since blue's has too many bits.
template <std::int32_t coefficient, std::int32_t share = 1>
HWY_INLINE SignedWordVec Product(SignedWordVec upper_bytes) {
    constexpr std::int32_t factor = (coefficient + 2 * share) / (4 * share);
    static_assert(factor < 32768 && factor > -32768);
    return hn::MulFixedPoint15(upper_bytes, hn::Set(signed_words, static_cast<std::int16_t>(factor)));
}

struct Chroma {
    SignedWordVec red, green, half_blue;
};

// Cb and Cr less 128, in the upper halves of lanes whose lower halves are 0.
HWY_INLINE Chroma ChromaOf(SignedWordVec cb, SignedWordVec cr) {
    return {Product<studio_matrix.red_cr>(cr), hn::Add(Product<studio_matrix.green_cb>(cb), Product<studio_matrix.green_cr>(cr)),
            Product<studio_matrix.blue_cb, 2>(cb)};
}

// Limited to a byte, which is the lane's upper half with its highest bit turned.
HWY_INLINE SignedWordVec Limited(SignedWordVec sum) { return hn::SaturatedAdd(sum, sum); }
HWY_INLINE SignedWordVec Red(SignedWordVec luma, const Chroma& chroma) { return Limited(hn::SaturatedAdd(luma, chroma.red)); }
HWY_INLINE SignedWordVec Green(SignedWordVec luma, const Chroma& chroma) { return Limited(hn::SaturatedAdd(luma, chroma.green)); }
HWY_INLINE SignedWordVec Blue(SignedWordVec luma, const Chroma& chroma) {
    return Limited(hn::SaturatedAdd(hn::SaturatedAdd(luma, chroma.half_blue), chroma.half_blue));
}

// The upper halves of both, side by side.
HWY_INLINE ByteVec UpperBytes(SignedWordVec first, SignedWordVec second) {
    const WordVec low = hn::ShiftRight<8>(hn::BitCast(words, first));
    return hn::IfThenElse(hn::MaskFromVec(hn::BitCast(bytes, hn::Set(words, 0xFF00))), hn::BitCast(bytes, second), hn::BitCast(bytes, low));
}

HWY_INLINE ByteVec HighestBitTurned(ByteVec value) { return hn::Xor(value, hn::Set(bytes, 0x80)); }

}  // namespace studio

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

// Single instructions that this version of Highway has no name for, or surrounds with corrections
// that are not needed here.
#if defined(VIMBREL_PIXEL_X86_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_X86_INL_H
#undef VIMBREL_PIXEL_X86_INL_H
#else
#define VIMBREL_PIXEL_X86_INL_H
#endif

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET <= HWY_AVX3
#define VIMBREL_PIXEL_VECTOR hn::Vec512
#define VIMBREL_PIXEL_INTRINSIC(name) _mm512_##name
#elif HWY_TARGET == HWY_AVX2
#define VIMBREL_PIXEL_VECTOR hn::Vec256
#define VIMBREL_PIXEL_INTRINSIC(name) _mm256_##name
#else
#define VIMBREL_PIXEL_VECTOR hn::Vec128
#define VIMBREL_PIXEL_INTRINSIC(name) _mm_##name
#endif

// Both vectors' lanes saturated to bytes; within each 16-byte block, first those of `a`, then those
// of `b`.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::uint8_t> SaturatedBytes(VIMBREL_PIXEL_VECTOR<std::int16_t> a,
                                                             VIMBREL_PIXEL_VECTOR<std::int16_t> b) {
    return VIMBREL_PIXEL_VECTOR<std::uint8_t>{VIMBREL_PIXEL_INTRINSIC(packus_epi16)(a.raw, b.raw)};
}

// Products of unsigned and signed bytes, summed by twos.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::int16_t> PairSums(VIMBREL_PIXEL_VECTOR<std::uint8_t> a,
                                                       VIMBREL_PIXEL_VECTOR<std::int8_t> b) {
    return VIMBREL_PIXEL_VECTOR<std::int16_t>{VIMBREL_PIXEL_INTRINSIC(maddubs_epi16)(a.raw, b.raw)};
}

// Products of signed words, summed by twos.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::int32_t> PairSums(VIMBREL_PIXEL_VECTOR<std::int16_t> a,
                                                       VIMBREL_PIXEL_VECTOR<std::int16_t> b) {
    return VIMBREL_PIXEL_VECTOR<std::int32_t>{VIMBREL_PIXEL_INTRINSIC(madd_epi16)(a.raw, b.raw)};
}

// A vector from memory; of one with two 16-byte blocks, the inner 8-byte halves of these change
// places. Two loads and a choice between them take a third of the time of a permutation.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::uint8_t> LoadInnerExchanged(const std::uint8_t* from) {
    constexpr hn::ScalableTag<std::uint8_t> bytes;
#if HWY_TARGET == HWY_AVX2
    constexpr int outer_halves = 0xC3;
    return hn::Vec256<std::uint8_t>{_mm256_blend_epi32(hn::LoadDup128(bytes, from + 8).raw,
                                                       hn::LoadU(bytes, from).raw, outer_halves)};
#else
    return hn::LoadU(bytes, from);
#endif
}

// To the nearest, ties to even; for values within the range of the result.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::int32_t> Rounded(VIMBREL_PIXEL_VECTOR<float> values) {
    return VIMBREL_PIXEL_VECTOR<std::int32_t>{VIMBREL_PIXEL_INTRINSIC(cvtps_epi32)(values.raw)};
}

// One more than `value` where `a` is greater than `b`, and one less.
HWY_INLINE VIMBREL_PIXEL_VECTOR<std::int16_t> OneMoreWhereGreater(
    VIMBREL_PIXEL_VECTOR<std::int16_t> value, VIMBREL_PIXEL_VECTOR<std::int16_t> a,
    VIMBREL_PIXEL_VECTOR<std::int16_t> b) {
#if HWY_CAP_GE512
    return hn::Vec512<std::int16_t>{
        _mm512_mask_sub_epi16(value.raw, hn::Gt(a, b).raw, value.raw, _mm512_set1_epi16(-1))};
#else
    return hn::Sub(value, hn::VecFromMask(hn::DFromV<decltype(value)>(), hn::Gt(a, b)));
#endif
}

HWY_INLINE VIMBREL_PIXEL_VECTOR<std::int16_t> OneLessWhereGreater(
    VIMBREL_PIXEL_VECTOR<std::int16_t> value, VIMBREL_PIXEL_VECTOR<std::int16_t> a,
    VIMBREL_PIXEL_VECTOR<std::int16_t> b) {
#if HWY_CAP_GE512
    return hn::Vec512<std::int16_t>{
        _mm512_mask_add_epi16(value.raw, hn::Gt(a, b).raw, value.raw, _mm512_set1_epi16(-1))};
#else
    return hn::Add(value, hn::VecFromMask(hn::DFromV<decltype(value)>(), hn::Gt(a, b)));
#endif
}

#undef VIMBREL_PIXEL_VECTOR
#undef VIMBREL_PIXEL_INTRINSIC

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

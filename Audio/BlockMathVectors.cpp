#include "Audio/BlockMathVectors.h"

#include "pixel/vector/Processors.h"

// Chooses the processors that Highway's own headers compile for.
#include "pixel/vector/Targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Audio/BlockMathVectors.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

#if HWY_ARCH_X86 && (HWY_TARGET & (HWY_SCALAR | HWY_EMU128)) == 0

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<std::int16_t> samples_tag;
constexpr hn::ScalableTag<std::uint16_t> magnitudes_tag;
constexpr std::size_t lanes = HWY_LANES(std::int16_t);

void Add(std::int16_t* mix, const std::int16_t* block, std::size_t count) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(
            hn::SaturatedAdd(hn::LoadU(samples_tag, mix + i), hn::LoadU(samples_tag, block + i)),
            samples_tag, mix + i);
    }
    plain_block_math.add(mix + i, block + i, count - i);
}

using SampleVec = hn::Vec<hn::ScalableTag<std::int16_t>>;

// One more where the fraction is above the threshold, both without a sign.
HWY_INLINE SampleVec RoundUpAbove(SampleVec whole, SampleVec fraction, SampleVec threshold) {
#if HWY_TARGET == HWY_AVX3
    return SampleVec{_mm512_mask_add_epi16(whole.raw,
                                           _mm512_cmpgt_epu16_mask(fraction.raw, threshold.raw),
                                           whole.raw, hn::Set(samples_tag, std::int16_t{1}).raw)};
#else
    const auto above = hn::SaturatedSub(hn::BitCast(magnitudes_tag, fraction),
                                        hn::BitCast(magnitudes_tag, threshold));
    const auto one = hn::Set(magnitudes_tag, std::uint16_t{1});
    return hn::Add(whole, hn::BitCast(samples_tag, hn::Min(above, one)));
#endif
}

// The factor is percent / 100 with 32 fractional bits, plus one unit of the last, so that its lower
// half is never 0. The product with the upper half has a whole part and a fraction of 16 bits. The
// threshold is the negated product with the lower half, rounded down and read without a sign: what
// that product lacks of a whole number for a sample above 0, and its size for one below 0. So both
// are rounded towards 0. Where the true product is whole, the fraction lies just on the right side;
// elsewhere it is 1 / 100 away, far more than the error of the threshold. Multiplications are
// signed: a half that is too large for that stands for itself less 65536, which the sample makes up
// for.
template <bool upper_wraps, bool lower_wraps>
void ScaleBy(std::int16_t* samples, std::size_t count, std::uint32_t factor) {
    const auto upper = hn::Set(samples_tag, static_cast<std::int16_t>(factor >> 16));
    const auto lower = hn::Set(samples_tag, static_cast<std::int16_t>(-factor));
    for (std::size_t i = 0; i < count; i += lanes) {
        const auto sample = hn::LoadU(samples_tag, samples + i);
        auto whole = hn::MulHigh(sample, upper);
        if constexpr (upper_wraps) whole = hn::Add(whole, sample);
        auto threshold = hn::MulHigh(sample, lower);
        if constexpr (lower_wraps) threshold = hn::Sub(threshold, sample);
        hn::StoreU(RoundUpAbove(whole, hn::Mul(sample, upper), threshold), samples_tag,
                   samples + i);
    }
}

void Scale(std::int16_t* samples, std::size_t count, std::int32_t percent) {
    if (percent < 0 || percent > 99) return plain_block_math.scale(samples, count, percent);
    const auto factor = static_cast<std::uint32_t>((std::int64_t{percent} << 32) / 100 + 1);
    const bool upper_wraps = factor >> 31 != 0;
    const bool lower_wraps = (factor & 0xFFFF) > 0x8000;
    const auto scale = upper_wraps ? (lower_wraps ? ScaleBy<true, true> : ScaleBy<true, false>)
                                   : (lower_wraps ? ScaleBy<false, true> : ScaleBy<false, false>);
    const std::size_t whole = count / lanes * lanes;
    scale(samples, whole, factor);
    plain_block_math.scale(samples + whole, count - whole, percent);
}

constexpr hn::ScalableTag<float> floats_tag;
constexpr std::size_t float_lanes = HWY_LANES(float);

void ToFloats(const std::int16_t* samples, std::size_t count, float* floats) {
    constexpr hn::Rebind<std::int16_t, hn::ScalableTag<float>> halves_tag;
    constexpr hn::Rebind<std::int32_t, hn::ScalableTag<float>> words_tag;
    const auto unit = hn::Set(floats_tag, 1 / 32'768.0F);
    std::size_t i = 0;
    for (; i + float_lanes <= count; i += float_lanes) {
        const auto words = hn::PromoteTo(words_tag, hn::LoadU(halves_tag, samples + i));
        hn::StoreU(hn::Mul(hn::ConvertTo(floats_tag, words), unit), floats_tag, floats + i);
    }
    plain_block_math.to_floats(samples + i, count - i, floats + i);
}

void ToSamples(const float* floats, std::size_t count, std::int16_t* samples) {
    constexpr hn::Rebind<std::int16_t, hn::ScalableTag<float>> halves_tag;
    const auto scale = hn::Set(floats_tag, 32'768.0F);
    const auto least = hn::Set(floats_tag, -32'768.0F);
    const auto most = hn::Set(floats_tag, 32'767.0F);
    std::size_t i = 0;
    for (; i + float_lanes <= count; i += float_lanes) {
        const auto sample = hn::Mul(hn::LoadU(floats_tag, floats + i), scale);
        const auto limited = hn::Min(hn::IfThenElse(hn::Gt(sample, least), sample, least), most);
        hn::StoreU(hn::DemoteTo(halves_tag, hn::NearestInt(limited)), halves_tag, samples + i);
    }
    plain_block_math.to_samples(floats + i, count - i, samples + i);
}

}  // namespace Vimbrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

#if HWY_ONCE

namespace Vimbrel {

namespace {

#if HWY_ARCH_X86

constexpr BlockMath avx512 = {"avx512", N_AVX3::Add, N_AVX3::Scale, N_AVX3::ToFloats,
                              N_AVX3::ToSamples};
constexpr BlockMath avx2 = {"avx2", N_AVX2::Add, N_AVX2::Scale, N_AVX2::ToFloats,
                            N_AVX2::ToSamples};
constexpr BlockMath sse4 = {"sse4", N_SSE4::Add, N_SSE4::Scale, N_SSE4::ToFloats,
                            N_SSE4::ToSamples};

constexpr BlockMathVectors compiled[] = {{&avx512, HasAvx512}, {&avx2, HasAvx2}, {&sse4, HasSse4}};
static_assert(std::size(compiled) <= max_block_math_vectors);

#else

constexpr std::span<const BlockMathVectors> compiled;

#endif

}  // namespace

std::span<const BlockMathVectors> CompiledBlockMathVectors() { return compiled; }

}  // namespace Vimbrel

#endif

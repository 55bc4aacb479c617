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

// The magnitude with the sign of `sample`; 0 stays 0.
HWY_INLINE SampleVec WithSign(SampleVec magnitude, SampleVec sample) {
#if HWY_TARGET == HWY_AVX2
    return SampleVec{_mm256_sign_epi16(magnitude.raw, sample.raw)};
#elif HWY_TARGET == HWY_SSE4
    return SampleVec{_mm_sign_epi16(magnitude.raw, sample.raw)};
#else
    return hn::IfNegativeThenElse(sample, hn::Neg(magnitude), magnitude);
#endif
}

// The magnitude times percent / 100 as a fixed-point number with 32 fractional bits, of which the
// upper 16 and the lower are multiplied separately. Their carry is the top bit of an average, whose
// rounding makes up for what the factor's own truncation takes away: a product is whole, or at
// least 1 / 100 below the next whole number.
void Scale(std::int16_t* samples, std::size_t count, std::int32_t percent) {
    if (percent < 0 || percent > 99) return plain_block_math.scale(samples, count, percent);
    const auto factor = static_cast<std::uint32_t>((std::int64_t{percent} << 32) / 100);
    const auto upper = hn::Set(magnitudes_tag, static_cast<std::uint16_t>(factor >> 16));
    const auto lower = hn::Set(magnitudes_tag, static_cast<std::uint16_t>(factor));
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto sample = hn::LoadU(samples_tag, samples + i);
        const auto magnitude = hn::BitCast(magnitudes_tag, hn::Abs(sample));
        const auto carry = hn::ShiftRight<15>(
            hn::AverageRound(hn::Mul(magnitude, upper), hn::MulHigh(magnitude, lower)));
        const auto product = hn::Add(hn::MulHigh(magnitude, upper), carry);
        hn::StoreU(WithSign(hn::BitCast(samples_tag, product), sample), samples_tag, samples + i);
    }
    plain_block_math.scale(samples + i, count - i, percent);
}

}  // namespace Vimbrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

#if HWY_ONCE

namespace Vimbrel {

namespace {

#if HWY_ARCH_X86

constexpr BlockMath avx512 = {"avx512", N_AVX3::Add, N_AVX3::Scale};
constexpr BlockMath avx2 = {"avx2", N_AVX2::Add, N_AVX2::Scale};
constexpr BlockMath sse4 = {"sse4", N_SSE4::Add, N_SSE4::Scale};

constexpr BlockMathVectors compiled[] = {{&avx512, HasAvx512}, {&avx2, HasAvx2}, {&sse4, HasSse4}};
static_assert(std::size(compiled) <= max_block_math_vectors);

#else

constexpr std::span<const BlockMathVectors> compiled;

#endif

}  // namespace

std::span<const BlockMathVectors> CompiledBlockMathVectors() { return compiled; }

}  // namespace Vimbrel

#endif

// libyuv converts by BT.601 only, and libswscale takes a fifth of the time that the H.264 encoder
// needs.
#include "pixel/BgraToYuv.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Vimbrel {

namespace {

// Weights with 15 fractional bits: blue, green, red.
struct Weights {
    std::int16_t luma[3];
    std::int16_t cb[3];
    std::int16_t cr[3];
};

constexpr int weight_bits = 15;

constexpr std::int16_t Fixed(double value) {
    return static_cast<std::int16_t>(value * (1 << weight_bits) + (value < 0 ? -0.5 : 0.5));
}

constexpr Weights MakeWeights(double red, double blue) {
    constexpr double luma_range = 219.0 / 255.0;
    constexpr double chroma_range = 224.0 / 255.0;
    Weights weights = {
        {Fixed(luma_range * blue), 0, Fixed(luma_range * red)},
        {Fixed(chroma_range * 0.5), 0, Fixed(-chroma_range * 0.5 * red / (1.0 - blue))},
        {Fixed(-chroma_range * 0.5 * blue / (1.0 - red)), 0, Fixed(chroma_range * 0.5)},
    };
    // Green makes up the sums, so that grey stays grey.
    weights.luma[1] =
        static_cast<std::int16_t>(Fixed(luma_range) - weights.luma[0] - weights.luma[2]);
    weights.cb[1] = static_cast<std::int16_t>(-weights.cb[0] - weights.cb[2]);
    weights.cr[1] = static_cast<std::int16_t>(-weights.cr[0] - weights.cr[2]);
    return weights;
}

constexpr Weights weights_601 = MakeWeights(0.299, 0.114);
constexpr Weights weights_709 = MakeWeights(0.2126, 0.0722);

constexpr const Weights& WeightsOf(YuvMatrix matrix) {
    return matrix == YuvMatrix::bt709 ? weights_709 : weights_601;
}

// Offsets of 16 and 128 with half a unit, for one pixel and for the sum of four.
constexpr int luma_offset = (16 << weight_bits) + (1 << (weight_bits - 1));
constexpr int chroma_bits = weight_bits + 2;
constexpr int chroma_offset = (128 << chroma_bits) + (1 << (chroma_bits - 1));

struct RowPair {
    const std::uint8_t* pixels[2];
    std::uint8_t* luma[2];
    std::uint8_t* cb;
    std::uint8_t* cr;
};

constexpr int Dot(const std::int16_t weights[3], int blue, int green, int red) {
    return weights[0] * blue + weights[1] * green + weights[2] * red;
}

void PlainRows(const RowPair& rows, unsigned first, unsigned width, const Weights& weights) {
    for (unsigned x = first; x < width; x += 2) {
        int sums[3] = {};
        for (int row = 0; row < 2; ++row) {
            const std::uint8_t* pixel = rows.pixels[row] + std::size_t{x} * 4;
            for (unsigned i = 0; i < 2; ++i, pixel += 4) {
                rows.luma[row][x + i] = static_cast<std::uint8_t>(
                    (Dot(weights.luma, pixel[0], pixel[1], pixel[2]) + luma_offset) >> weight_bits);
                for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
            }
        }
        rows.cb[x / 2] = static_cast<std::uint8_t>(
            (Dot(weights.cb, sums[0], sums[1], sums[2]) + chroma_offset) >> chroma_bits);
        rows.cr[x / 2] = static_cast<std::uint8_t>(
            (Dot(weights.cr, sums[0], sums[1], sums[2]) + chroma_offset) >> chroma_bits);
    }
}

#if defined(__x86_64__)

#define VIMBREL_AVX2 __attribute__((target("avx2")))

// Two 16-bit weights for each 32-bit lane.
VIMBREL_AVX2 __m256i Pair(std::int16_t low, std::int16_t high) {
    return _mm256_set1_epi32(
        static_cast<int>(static_cast<std::uint16_t>(low) |
                         static_cast<std::uint32_t>(static_cast<std::uint16_t>(high)) << 16));
}

struct VectorWeights {
    __m256i blue_red;
    __m256i green;
    __m256i offset;
};

VIMBREL_AVX2 VectorWeights VectorOf(const std::int16_t weights[3], int offset) {
    return {Pair(weights[0], weights[2]), Pair(weights[1], 0), _mm256_set1_epi32(offset)};
}

// 32-bit lanes of (blue, red) and (green, anything).
VIMBREL_AVX2 __m256i VectorDot(const VectorWeights& weights, __m256i blue_red, __m256i green) {
    return _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(blue_red, weights.blue_red),
                                             _mm256_madd_epi16(green, weights.green)),
                            weights.offset);
}

// As many whole steps of 32 pixels as there are; the width done.
VIMBREL_AVX2 unsigned VectorRows(const RowPair& rows, unsigned width, const Weights& weights) {
    const VectorWeights luma = VectorOf(weights.luma, luma_offset);
    const VectorWeights cb = VectorOf(weights.cb, chroma_offset);
    const VectorWeights cr = VectorOf(weights.cr, chroma_offset);
    const __m256i even_bytes = _mm256_set1_epi32(0x00FF00FF);
    // Packing and pairwise sums work within halves of 16 bytes; these put their parts back into
    // order.
    constexpr int quarters = 0xD8;
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    unsigned x = 0;
    for (; x + 32 <= width; x += 32) {
        __m256i blue_red_sums[4];
        __m256i green_sums[4];
        for (int row = 0; row < 2; ++row) {
            const auto* source =
                reinterpret_cast<const __m256i*>(rows.pixels[row] + std::size_t{x} * 4);
            __m256i dots[4];
            for (int i = 0; i < 4; ++i) {
                const __m256i pixels = _mm256_loadu_si256(source + i);
                const __m256i blue_red = _mm256_and_si256(pixels, even_bytes);
                const __m256i green = _mm256_and_si256(_mm256_srli_epi16(pixels, 8), even_bytes);
                dots[i] = _mm256_srai_epi32(VectorDot(luma, blue_red, green), weight_bits);
                blue_red_sums[i] =
                    row == 0 ? blue_red : _mm256_add_epi16(blue_red_sums[i], blue_red);
                green_sums[i] = row == 0 ? green : _mm256_add_epi16(green_sums[i], green);
            }
            const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(dots[0], dots[1]),
                                                       _mm256_packs_epi32(dots[2], dots[3]));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows.luma[row] + x),
                                _mm256_permutevar8x32_epi32(packed, order));
        }
        __m256i cb_dots[2];
        __m256i cr_dots[2];
        for (int i = 0; i < 2; ++i) {
            // Neighbours are summed as whole lanes of 32 bits: the halves stay below 16 bits each.
            const __m256i blue_red =
                _mm256_hadd_epi32(blue_red_sums[2 * i], blue_red_sums[2 * i + 1]);
            const __m256i green = _mm256_hadd_epi32(green_sums[2 * i], green_sums[2 * i + 1]);
            cb_dots[i] = _mm256_permute4x64_epi64(
                _mm256_srai_epi32(VectorDot(cb, blue_red, green), chroma_bits), quarters);
            cr_dots[i] = _mm256_permute4x64_epi64(
                _mm256_srai_epi32(VectorDot(cr, blue_red, green), chroma_bits), quarters);
        }
        const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(cb_dots[0], cb_dots[1]),
                                                   _mm256_packs_epi32(cr_dots[0], cr_dots[1]));
        const __m256i ordered = _mm256_permutevar8x32_epi32(packed, order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows.cb + x / 2),
                         _mm256_castsi256_si128(ordered));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows.cr + x / 2),
                         _mm256_extracti128_si256(ordered, 1));
    }
    return x;
}

bool HasVectors() { return __builtin_cpu_supports("avx2") != 0; }

#else

unsigned VectorRows(const RowPair&, unsigned, const Weights&) { return 0; }
bool HasVectors() { return false; }

#endif

void Convert(const std::uint8_t* pixels, unsigned width, unsigned height, YuvMatrix matrix,
             const YuvPlanes& planes, bool vectors) {
    const Weights& weights = WeightsOf(matrix);
    const std::size_t stride = std::size_t{width} * 4;
    for (unsigned y = 0; y < height; y += 2) {
        const std::uint8_t* upper = pixels + y * stride;
        std::uint8_t* luma = planes.data[0] + y * planes.stride[0];
        const RowPair rows = {{upper, upper + stride},
                              {luma, luma + planes.stride[0]},
                              planes.data[1] + y / 2 * planes.stride[1],
                              planes.data[2] + y / 2 * planes.stride[2]};
        PlainRows(rows, vectors ? VectorRows(rows, width, weights) : 0, width, weights);
    }
}

}  // namespace

void ConvertBgraToYuv(const std::uint8_t* pixels, unsigned width, unsigned height, YuvMatrix matrix,
                      const YuvPlanes& planes) {
    static const bool vectors = HasVectors();
    Convert(pixels, width, height, matrix, planes, vectors);
}

void ConvertBgraToYuvPlainly(const std::uint8_t* pixels, unsigned width, unsigned height,
                             YuvMatrix matrix, const YuvPlanes& planes) {
    Convert(pixels, width, height, matrix, planes, false);
}

}  // namespace Vimbrel

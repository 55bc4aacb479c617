// The colours of blocks of luma and chroma, exact to the last bit in 16-bit lanes.
//
// A colour is (luma part + chroma part) >> 16. Both parts are split into a whole number and a
// 16-bit fraction; the whole numbers are added, and 1 more where the fractions' sum carries. The
// chroma part is computed once for all pixels that share it. Lanes hold pairs of pixels, the even
// ones in one vector and the odd ones in another, so that chroma need not be repeated.
//
// The luma part takes all constants: with y = Y - 16 it is 76284 y + 32768 in the studio matrix.
// Multiplication with rounding, which takes in the 32768, gives its whole number. Of the fraction
// the lower product remains, short of 32768; so it compares as a signed number.
#if defined(VIMBREL_PIXEL_YUV_COLORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_YUV_COLORS_INL_H
#undef VIMBREL_PIXEL_YUV_COLORS_INL_H
#else
#define VIMBREL_PIXEL_YUV_COLORS_INL_H
#endif

#include "pixel/Matrices.h"
#include "pixel/vector/Lanes-inl.h"
#include "pixel/vector/StudioRounded-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

// A block is one vector of luma, and half as many chroma pairs.
constexpr std::int32_t block_pixels = vector_bytes;
constexpr std::int32_t block_pairs = block_pixels / 2;

template <const Matrix& matrix>
constexpr bool whole_luma = matrix.luma_gain == 1 << 16;

// Whether the conversion is exact. With vectors of 64 bytes the carries cost less than memory does.
template <const Matrix& matrix>
constexpr bool exact = whole_luma<matrix> || vector_bytes == 64;

// Which of the two chroma bytes of a pair comes first.
enum class ChromaOrder { cb_cr, cr_cb };

// The pixels come out block by block, four at a time; so the luma goes in four by four in turn.
constexpr DwordOrder TurnedOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) order.from[i] = i % 4 * vector_blocks + i / 4;
    return order;
}

// The same for formats of which two double words hold four pixels, in each of two vectors.
constexpr DwordOrder TurnedPackedOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) {
        const int four_pixels = i % 4 / 2 * vector_blocks + i / 4;
        order.from[i] = 2 * four_pixels + i % 2;
    }
    return order;
}

constexpr DwordOrder turned_order = TurnedOrder();
constexpr DwordOrder turned_packed_order = TurnedPackedOrder();

// What chroma adds to red and blue, or takes from green: a whole number, and the fraction of luma
// beyond which it carries. The flat matrix has no fractions of luma.
struct ColorPart {
    SignedWordVec whole;
    SignedWordVec limit;
};

struct ChromaParts {
    ColorPart red, green, blue;
};

using SignedByteVec = hn::Vec<hn::ScalableTag<std::int8_t>>;

// cb_factor * Cb' + cr_factor * Cr' for factors below 256, whose sums fit 16 bits.
template <int cb_factor, int cr_factor, ChromaOrder order>
HWY_INLINE SignedWordVec ChromaSum(SignedByteVec chroma) {
    static_assert(cb_factor >= 0 && cr_factor >= 0 && cb_factor + cr_factor < 256);
    constexpr int first = order == ChromaOrder::cb_cr ? cb_factor : cr_factor;
    constexpr int second = order == ChromaOrder::cb_cr ? cr_factor : cb_factor;
    return PairSums(
        hn::BitCast(bytes, hn::Set(words, static_cast<std::uint16_t>(first | second << 8))),
        chroma);
}

HWY_INLINE SignedWordVec Times(SignedWordVec value, int factor) {
    return hn::Mul(value, hn::Set(signed_words, static_cast<std::int16_t>(factor)));
}

// The least factor that splits a coefficient into two that fit bytes and signed words.
constexpr int ByteFactor(std::int32_t coefficient) {
    int factor = 1;
    while (coefficient % factor != 0 || coefficient / factor > 32767) ++factor;
    return factor;
}

// Of the studio matrix: the product with one coefficient, by a chroma sum that is its `factor`-fold
// chroma.
template <std::int32_t coefficient, int factor>
HWY_INLINE ColorPart ProductPart(SignedWordVec multiple) {
    static_assert(coefficient % factor == 0 && coefficient / factor <= 32767);
    constexpr int rest = coefficient / factor;
    // The fractions carry where luma's is beyond 65535 less this one; the highest bit is turned in
    // both.
    return {hn::MulHigh(multiple, hn::Set(signed_words, rest)),
            hn::Add(Times(multiple, -rest), hn::Set(signed_words, 32767))};
}

// Of the studio matrix: what green loses, 512 times one sum and once another.
template <const Matrix& matrix, ChromaOrder order>
HWY_INLINE ColorPart GreenLoss(SignedByteVec chroma) {
    constexpr int cb = -matrix.green_cb;
    constexpr int cr = -matrix.green_cr;
    const SignedWordVec many =
        hn::Sub(ChromaSum<cb / 512, cr / 512, order>(chroma), hn::Set(signed_words, 64));
    const SignedWordVec few = ChromaSum<cb % 512, cr % 512, order>(chroma);
    // The 64 less above are the 32768 that make `few` positive, and turn the highest bit of the
    // fraction.
    const SignedWordVec limit = hn::Add(hn::ShiftLeft<9>(many), few);
    return {OneMoreWhereGreater(hn::ShiftRight<7>(many), few, limit), limit};
}

// Of the flat matrix: the rounded product with one coefficient, by twice the chroma. Half a
// coefficient is not whole, but the next lower one rounds every byte alike.
template <std::int32_t coefficient>
HWY_INLINE ColorPart RoundedProduct(SignedWordVec doubled) {
    constexpr int quarter = coefficient / 4;
    constexpr auto exact = [] {
        for (int chroma = -128; chroma < 128; ++chroma) {
            if ((2 * chroma * quarter + 16384) >> 15 != (coefficient * chroma + 32768) >> 16)
                return false;
        }
        return true;
    }();
    static_assert(exact);
    return {hn::MulFixedPoint15(doubled, hn::Set(signed_words, quarter)), doubled};
}

// Of the flat matrix: what green loses, rounded; 256 times one sum less another.
template <const Matrix& matrix, ChromaOrder order>
HWY_INLINE ColorPart RoundedGreen(SignedByteVec chroma) {
    constexpr int cb_many = (-matrix.green_cb + 255) / 256;
    constexpr int cr_many = (-matrix.green_cr + 255) / 256;
    const SignedWordVec many = ChromaSum<cb_many, cr_many, order>(chroma);
    const SignedWordVec few =
        ChromaSum<cb_many * 256 + matrix.green_cb, cr_many * 256 + matrix.green_cr, order>(chroma);
    return {hn::MulFixedPoint15(hn::Sub(hn::ShiftRight<8>(few), many), hn::Set(signed_words, 128)),
            many};
}

// From lanes with both chroma bytes of a pair.
template <const Matrix& matrix, ChromaOrder order>
HWY_INLINE ChromaParts Chroma(ByteVec pairs) {
    const SignedByteVec chroma =
        hn::BitCast(hn::ScalableTag<std::int8_t>(), hn::Xor(pairs, hn::Set(bytes, 0x80)));
    if constexpr (whole_luma<matrix>) {
        return {RoundedProduct<matrix.red_cr>(ChromaSum<0, 2, order>(chroma)),
                RoundedGreen<matrix, order>(chroma),
                RoundedProduct<matrix.blue_cb>(ChromaSum<2, 0, order>(chroma))};
    } else {
        constexpr int red = ByteFactor(matrix.red_cr);
        constexpr int blue = ByteFactor(matrix.blue_cb);
        return {ProductPart<matrix.red_cr, red>(ChromaSum<0, red, order>(chroma)),
                GreenLoss<matrix, order>(chroma),
                ProductPart<matrix.blue_cb, blue>(ChromaSum<blue, 0, order>(chroma))};
    }
}

// The same for either kind of conversion.
template <const Matrix& matrix, ChromaOrder order>
HWY_INLINE auto ChromaOf(ByteVec pairs) {
    if constexpr (exact<matrix>) {
        return Chroma<matrix, order>(pairs);
    } else {
        static_assert(order == ChromaOrder::cb_cr);
        const WordVec turned = hn::BitCast(words, studio::HighestBitTurned(pairs));
        return studio::ChromaOf(hn::BitCast(signed_words, hn::ShiftLeft<8>(turned)),
                                hn::BitCast(signed_words, hn::And(turned, hn::Set(words, 0xFF00))));
    }
}

// The luma part of one byte per lane, the lower or the upper one.
template <const Matrix& matrix>
struct LumaPart {
    SignedWordVec whole;
    SignedWordVec fraction;

    template <bool upper>
    static HWY_INLINE LumaPart From(ByteVec luma) {
        if constexpr (whole_luma<matrix>) {
            const WordVec pairs = hn::BitCast(words, luma);
            const SignedWordVec whole =
                hn::BitCast(signed_words, upper ? hn::ShiftRight<8>(pairs)
                                                : hn::And(pairs, hn::Set(words, 0xFF)));
            return {whole, whole};
        } else {
            static_assert(matrix.luma_gain % 4 == 0 && matrix.luma_gain / 4 < 32768);
            static_assert(matrix.luma_offset == 32768 - 16 * matrix.luma_gain);
            const auto twice = hn::BitCast(hn::ScalableTag<std::int8_t>(),
                                           hn::Set(words, upper ? 0x0200 : 0x0002));
            const SignedWordVec doubled = hn::Sub(PairSums(luma, twice), hn::Set(signed_words, 32));
            return {hn::MulFixedPoint15(doubled, hn::Set(signed_words, matrix.luma_gain / 4)),
                    Times(doubled, matrix.luma_gain / 2)};
        }
    }

    HWY_INLINE SignedWordVec Plus(const ColorPart& chroma) const {
        const SignedWordVec sum = hn::Add(whole, chroma.whole);
        if constexpr (whole_luma<matrix>) return sum;
        return OneMoreWhereGreater(sum, fraction, chroma.limit);
    }
    HWY_INLINE SignedWordVec Green(const ColorPart& chroma) const {
        if constexpr (whole_luma<matrix>) return hn::Add(whole, chroma.whole);
        return OneLessWhereGreater(hn::Sub(whole, chroma.whole), chroma.limit, fraction);
    }
};

// One colour of a block, saturated, as bytes in the order of pixels within each 16-byte block.
HWY_INLINE ByteVec ColorBytes(SignedWordVec even, SignedWordVec odd) {
    static constexpr std::uint8_t zip[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};
    return hn::TableLookupBytes(SaturatedBytes(even, odd), EachBlock(zip));
}

// The colours of a block, as bytes in the order of pixels within each 16-byte block.
struct BlockColors {
    ByteVec red, green, blue;
};

template <const Matrix& matrix>
HWY_INLINE BlockColors ColorsOf(ByteVec luma, const ChromaParts& chroma) {
    using Luma = LumaPart<matrix>;
    const Luma even = Luma::template From<false>(luma);
    const Luma odd = Luma::template From<true>(luma);
    return {ColorBytes(even.Plus(chroma.red), odd.Plus(chroma.red)),
            ColorBytes(even.Green(chroma.green), odd.Green(chroma.green)),
            ColorBytes(even.Plus(chroma.blue), odd.Plus(chroma.blue))};
}

template <const Matrix&>
HWY_INLINE BlockColors ColorsOf(ByteVec luma, const studio::Chroma& chroma) {
    const ByteVec turned = studio::HighestBitTurned(luma);
    const SignedWordVec even = studio::Luma<false>(turned);
    const SignedWordVec odd = studio::Luma<true>(turned);
    return {ColorBytes(studio::Whole(even, chroma.red), studio::Whole(odd, chroma.red)),
            ColorBytes(studio::Whole(even, chroma.green), studio::Whole(odd, chroma.green)),
            ColorBytes(studio::Whole(even, chroma.blue), studio::Whole(odd, chroma.blue))};
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

// Conversion of luma and chroma, exact to the last bit in 16-bit lanes.
//
// A colour is (luma part + chroma part) >> 16. Both parts are split into a whole number and a 16-bit fraction; the whole
// numbers are added, and 1 more where the fractions' sum carries. The chroma part is computed once for all pixels that share
// it. Lanes hold pairs of pixels, the even ones in one vector and the odd ones in another, so that chroma need not be
// repeated.
#if defined(VIMBREL_PIXEL_YUV_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_YUV_ROWS_INL_H
#undef VIMBREL_PIXEL_YUV_ROWS_INL_H
#else
#define VIMBREL_PIXEL_YUV_ROWS_INL_H
#endif

#include "pixel/Kernels.h"
#include "pixel/Matrices.h"
#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

// A block is one vector of luma, and half as many chroma pairs.
constexpr std::int32_t block_pixels = vector_bytes;
constexpr std::int32_t block_pairs = block_pixels / 2;

template <const Matrix& matrix>
constexpr bool whole_luma = matrix.luma_gain == 1 << 16;

// The pixels come out block by block, four at a time; so the luma goes in four by four in turn.
constexpr DwordOrder TurnedOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) order.from[i] = i % 4 * vector_blocks + i / 4;
    return order;
}

// The same for bytes that were packed from two vectors, which interleaved their blocks.
constexpr DwordOrder TurnedPackedOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) {
        const int natural = i % 4 * vector_blocks + i / 4;
        const int within = natural % (2 * vector_blocks);
        order.from[i] = within / 2 * 4 + natural / (2 * vector_blocks) * 2 + within % 2;
    }
    return order;
}

constexpr DwordOrder turned_order = TurnedOrder();
constexpr DwordOrder turned_packed_order = TurnedPackedOrder();

// A sum of products with 16 fractional bits.
struct Split {
    SignedWordVec whole;
    WordVec fraction;
};

HWY_INLINE Split AddCarrying(SignedWordVec whole, WordVec fraction, WordVec added) {
    const WordVec sum = hn::Add(fraction, added);
    return {hn::Sub(whole, hn::BitCast(signed_words, hn::VecFromMask(words, hn::Lt(sum, added)))), sum};
}

template <std::int32_t factor>
HWY_INLINE Split Times(SignedWordVec value) {
    // The factor as a multiple of 65536 and a rest that fits a signed lane.
    constexpr std::int32_t multiple = (factor + 32768) >> 16;
    constexpr auto rest = static_cast<std::int16_t>(factor - multiple * 65536);
    const SignedWordVec rests = hn::Set(signed_words, rest);
    SignedWordVec whole = hn::MulHigh(value, rests);
    if constexpr (multiple == 2) whole = hn::Add(whole, hn::Add(value, value));
    if constexpr (multiple == 1) whole = hn::Add(whole, value);
    if constexpr (multiple == -1) whole = hn::Sub(whole, value);
    static_assert(multiple >= -1 && multiple <= 2);
    return {whole, hn::BitCast(words, hn::Mul(value, rests))};
}

HWY_INLINE Split Plus(const Split& a, const Split& b) { return AddCarrying(hn::Add(a.whole, b.whole), a.fraction, b.fraction); }

// What chroma adds to one colour: the whole number, and the fraction of luma above which the fractions carry, both with
// their highest bit turned so that they compare as signed numbers.
struct ColorPart {
    SignedWordVec whole;
    SignedWordVec carry_above;
};

struct ChromaParts {
    ColorPart red, green, blue;
};

// The matrix's luma offset is counted here, but for the half that LumaPart takes to round.
template <const Matrix& matrix>
HWY_INLINE ColorPart Offset(const Split& part) {
    constexpr std::int32_t offset = matrix.luma_offset - (whole_luma<matrix> ? 0 : 32768);
    const Split sum = AddCarrying(hn::Add(part.whole, hn::Set(signed_words, static_cast<std::int16_t>(offset >> 16))), part.fraction,
                                  hn::Set(words, static_cast<std::uint16_t>(offset & 0xFFFF)));
    return {sum.whole, hn::BitCast(signed_words, hn::Xor(sum.fraction, hn::Set(words, 0x7FFF)))};
}

// From lanes with Cb in the lower byte and Cr in the upper.
template <const Matrix& matrix>
HWY_INLINE ChromaParts Chroma(WordVec cb_cr) {
    const SignedWordVec middle = hn::Set(signed_words, 128);
    const SignedWordVec cb = hn::Sub(hn::BitCast(signed_words, hn::And(cb_cr, hn::Set(words, 0xFF))), middle);
    const SignedWordVec cr = hn::Sub(hn::BitCast(signed_words, hn::ShiftRight<8>(cb_cr)), middle);
    return {Offset<matrix>(Times<matrix.red_cr>(cr)), Offset<matrix>(Plus(Times<matrix.green_cb>(cb), Times<matrix.green_cr>(cr))),
            Offset<matrix>(Times<matrix.blue_cb>(cb))};
}

// One luma value per lane.
template <const Matrix& matrix>
struct LumaPart {
    SignedWordVec whole;
    SignedWordVec fraction;  // with its highest bit turned

    HWY_INLINE explicit LumaPart(WordVec luma) {
        whole = hn::BitCast(signed_words, luma);
        if constexpr (!whole_luma<matrix>) {
            constexpr std::int32_t rest = matrix.luma_gain - 65536;
            static_assert(rest > 0 && rest % 2 == 0 && rest / 2 < 32768);
            // The rounding product takes the half unit in, and the half unit turns the fraction's highest bit.
            fraction = hn::Mul(whole, hn::Set(signed_words, static_cast<std::int16_t>(rest)));
            whole = hn::Add(whole, hn::MulFixedPoint15(whole, hn::Set(signed_words, static_cast<std::int16_t>(rest / 2))));
        }
    }

    HWY_INLINE SignedWordVec Color(const ColorPart& chroma) const {
        const SignedWordVec sum = hn::Add(whole, chroma.whole);
        if constexpr (whole_luma<matrix>) {
            return sum;  // luma without a fraction never carries
        } else {
            return hn::Sub(sum, hn::VecFromMask(signed_words, hn::Gt(fraction, chroma.carry_above)));
        }
    }
};

// One colour of a block, saturated, as bytes in the order of pixels within each 16-byte block.
template <const Matrix& matrix>
HWY_INLINE ByteVec ColorBytes(const LumaPart<matrix>& even, const LumaPart<matrix>& odd, const ColorPart& chroma) {
    static constexpr std::uint8_t zip[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};
    return hn::TableLookupBytes(SaturatedBytes(even.Color(chroma), odd.Color(chroma)), EachBlock(zip));
}

// Converts a block of turned luma; `reversed` writes red, green, blue instead of blue, green, red.
template <const Matrix& matrix, bool reversed = false>
HWY_INLINE void PutBlock(ByteVec turned_luma, const ChromaParts& chroma, std::uint8_t alpha, std::uint8_t* HWY_RESTRICT destination) {
    const WordVec pairs = hn::BitCast(words, turned_luma);
    const LumaPart<matrix> even(hn::And(pairs, hn::Set(words, 0xFF)));
    const LumaPart<matrix> odd(hn::ShiftRight<8>(pairs));
    const ByteVec first = ColorBytes(even, odd, reversed ? chroma.red : chroma.blue);
    const ByteVec second = ColorBytes(even, odd, chroma.green);
    const ByteVec third = ColorBytes(even, odd, reversed ? chroma.blue : chroma.red);
    const ByteVec fourth = hn::Set(bytes, alpha);
    const WordVec front_lower = hn::BitCast(words, hn::InterleaveLower(bytes, first, second));
    const WordVec front_upper = hn::BitCast(words, hn::InterleaveUpper(bytes, first, second));
    const WordVec back_lower = hn::BitCast(words, hn::InterleaveLower(bytes, third, fourth));
    const WordVec back_upper = hn::BitCast(words, hn::InterleaveUpper(bytes, third, fourth));
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveLower(words, front_lower, back_lower)), bytes, destination);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveUpper(words, front_lower, back_lower)), bytes, destination + vector_bytes);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveLower(words, front_upper, back_upper)), bytes, destination + 2 * vector_bytes);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveUpper(words, front_upper, back_upper)), bytes, destination + 3 * vector_bytes);
}

// Formats of which a double word holds two pixels. `luma_low` is YUY2, with its exchanged colours; else it is UYVY.
template <const Matrix& matrix, bool luma_low>
HWY_INLINE void PutPackedBlock(const std::uint8_t* HWY_RESTRICT source, std::uint8_t* HWY_RESTRICT destination, std::uint8_t alpha) {
    const WordVec front = hn::BitCast(words, hn::LoadU(bytes, source));
    const WordVec back = hn::BitCast(words, hn::LoadU(bytes, source + vector_bytes));
    const WordVec low_byte = hn::Set(words, 0xFF);
    const ByteVec low =
        SaturatedBytes(hn::BitCast(signed_words, hn::And(front, low_byte)), hn::BitCast(signed_words, hn::And(back, low_byte)));
    const ByteVec high =
        SaturatedBytes(hn::BitCast(signed_words, hn::ShiftRight<8>(front)), hn::BitCast(signed_words, hn::ShiftRight<8>(back)));
    const ByteVec luma = Reorder(luma_low ? low : high, turned_packed_order);
    WordVec chroma = hn::BitCast(words, Reorder(luma_low ? high : low, turned_packed_order));
    // YUY2's exchanged coefficients, which are meant: its chroma bytes change roles, and red and blue their places.
    if constexpr (luma_low) chroma = hn::Or(hn::ShiftLeft<8>(chroma), hn::ShiftRight<8>(chroma));
    PutBlock<matrix, luma_low>(luma, Chroma<matrix>(chroma), alpha, destination);
}

template <const Matrix& matrix, bool luma_low>
void PackedYuvRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width, std::uint8_t alpha) {
    std::int32_t x = 0;
    for (; x + block_pixels <= width; x += block_pixels) {
        PutPackedBlock<matrix, luma_low>(source, destination, alpha);
        source += 2 * block_pixels;
        destination += 4 * block_pixels;
    }
    if (x == width) return;
    const auto rest = static_cast<std::size_t>(width - x);
    HWY_ALIGN std::uint8_t in[2 * block_pixels] = {};
    HWY_ALIGN std::uint8_t out[4 * block_pixels];
    std::memcpy(in, source, 2 * rest);
    if (rest % 2 != 0) {
        // The second chroma byte of an odd last pixel is the previous group's, or the first one itself. This is meant.
        constexpr std::size_t chroma_byte = luma_low ? 1 : 0;
        const std::size_t second = 2 * (rest - 1) + 2 + chroma_byte;
        in[second] = width > 1 ? source[static_cast<std::ptrdiff_t>(second) - 4] : in[chroma_byte];
    }
    PutPackedBlock<matrix, luma_low>(in, out, alpha);
    std::memcpy(destination, out, 4 * rest);
}

// The chroma of 4:2:0 pictures, as lanes with Cb below Cr in turned order.
struct Semiplanar {
    const std::uint8_t* chroma;

    HWY_INLINE WordVec Load() const { return hn::BitCast(words, Reorder(hn::LoadU(bytes, chroma), turned_order)); }
    HWY_INLINE void Skip() { chroma += 2 * block_pairs; }
};

struct Planar {
    const std::uint8_t* cb;
    const std::uint8_t* cr;

    HWY_INLINE WordVec Load() const {
        constexpr hn::Half<Bytes> half;
        const WordVec low = hn::PromoteTo(words, hn::LoadU(half, cb));
        const WordVec high = hn::PromoteTo(words, hn::LoadU(half, cr));
        return Reorder(hn::Or(low, hn::ShiftLeft<8>(high)), turned_order);
    }
    HWY_INLINE void Skip() {
        cb += block_pairs;
        cr += block_pairs;
    }
};

template <const Matrix& matrix, class Source>
HWY_INLINE void PutBlockPair(const std::uint8_t* upper, const std::uint8_t* lower, const Source& source, std::uint8_t alpha,
                             std::uint8_t* above, std::uint8_t* below) {
    const ChromaParts chroma = Chroma<matrix>(source.Load());
    PutBlock<matrix>(Reorder(hn::LoadU(bytes, upper), turned_order), chroma, alpha, above);
    PutBlock<matrix>(Reorder(hn::LoadU(bytes, lower), turned_order), chroma, alpha, below);
}

// Converts whole blocks and returns how many pairs of pixels that were.
template <const Matrix& matrix, class Source>
HWY_INLINE std::int32_t PutBlockPairs(const RowPair& rows, Source& source) {
    std::int32_t pair = 0;
    for (; pair + block_pairs <= rows.pairs; pair += block_pairs, source.Skip()) {
        const std::ptrdiff_t x = 2 * static_cast<std::ptrdiff_t>(pair);
        PutBlockPair<matrix>(rows.luma[0] + x, rows.luma[1] + x, source, rows.alpha, rows.destination[0] + 4 * x,
                             rows.destination[1] + 4 * x);
    }
    return pair;
}

// The rest of a row pair, less than a block, by way of the stack; the chroma was brought there by the caller.
template <const Matrix& matrix, class Source>
void PutRestPairs(const RowPair& rows, std::int32_t from, const Source& source) {
    const std::ptrdiff_t x = 2 * static_cast<std::ptrdiff_t>(from);
    const std::size_t rest = 2 * static_cast<std::size_t>(rows.pairs - from);
    HWY_ALIGN std::uint8_t in[2][block_pixels] = {};
    HWY_ALIGN std::uint8_t out[2][4 * block_pixels];
    for (int row = 0; row < 2; ++row) std::memcpy(in[row], rows.luma[row] + x, rest);
    PutBlockPair<matrix>(in[0], in[1], source, rows.alpha, out[0], out[1]);
    for (int row = 0; row < 2; ++row) std::memcpy(rows.destination[row] + 4 * x, out[row], 4 * rest);
}

template <const Matrix& matrix>
void SemiplanarRows(const RowPair& rows, const std::uint8_t* chroma) {
    Semiplanar source{chroma};
    const std::int32_t done = PutBlockPairs<matrix>(rows, source);
    if (done == rows.pairs) return;
    HWY_ALIGN std::uint8_t rest[2 * block_pairs] = {};
    std::memcpy(rest, source.chroma, 2 * static_cast<std::size_t>(rows.pairs - done));
    PutRestPairs<matrix>(rows, done, Semiplanar{rest});
}

template <const Matrix& matrix>
void PlanarRows(const RowPair& rows, const std::uint8_t* cb, const std::uint8_t* cr) {
    Planar source{cb, cr};
    const std::int32_t done = PutBlockPairs<matrix>(rows, source);
    if (done == rows.pairs) return;
    const auto count = static_cast<std::size_t>(rows.pairs - done);
    HWY_ALIGN std::uint8_t rest[2][block_pairs] = {};
    std::memcpy(rest[0], source.cb, count);
    std::memcpy(rest[1], source.cr, count);
    PutRestPairs<matrix>(rows, done, Planar{rest[0], rest[1]});
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

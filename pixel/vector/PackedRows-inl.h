// Rows of packed pixels: copies that spare the fourth byte, expansion, alpha.
#if defined(VIMBREL_PIXEL_PACKED_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_PACKED_ROWS_INL_H
#undef VIMBREL_PIXEL_PACKED_ROWS_INL_H
#else
#define VIMBREL_PIXEL_PACKED_ROWS_INL_H
#endif

#include "pixel/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

constexpr std::int32_t packed_pixels = vector_bytes / 4;

// The colours of one and the fourth byte of the other.
HWY_INLINE DwordVec WithAlphaOf(DwordVec colors, DwordVec alpha) {
    const DwordVec mask = hn::Set(dwords, 0xFF000000U);
    return hn::Or(hn::AndNot(mask, colors), hn::And(mask, alpha));
}

HWY_INLINE DwordVec LoadPixels(const std::uint8_t* place) { return hn::BitCast(dwords, hn::LoadU(bytes, place)); }
HWY_INLINE void StorePixels(DwordVec pixels, std::uint8_t* place) { hn::StoreU(hn::BitCast(bytes, pixels), bytes, place); }

inline void CopyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    std::int32_t x = 0;
    for (; x + packed_pixels <= width; x += packed_pixels, source += vector_bytes, destination += vector_bytes) {
        StorePixels(WithAlphaOf(LoadPixels(source), LoadPixels(destination)), destination);
    }
    for (; x < width; ++x, source += 4, destination += 4) std::memcpy(destination, source, 3);
}

// Brings the three double words that make up four pixels into each block.
constexpr DwordOrder TripletOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) order.from[i] = i / 4 * 3 + (i % 4 < 3 ? i % 4 : 0);
    return order;
}
constexpr DwordOrder triplet_order = TripletOrder();

inline void ExpandRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    static constexpr std::uint8_t spread[16] = {0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11, 0x80};
    // A load takes more than its pixels. Those that follow have to be there.
    constexpr std::int32_t loaded_pixels = (vector_bytes + 2) / 3;
    const DwordVec mask = hn::Set(dwords, 0xFF000000U);
    std::int32_t x = 0;
    for (; x + loaded_pixels <= width; x += packed_pixels, source += 3 * packed_pixels, destination += vector_bytes) {
        const ByteVec triplets = Reorder(hn::LoadU(bytes, source), triplet_order);
        const DwordVec colors = hn::BitCast(dwords, hn::TableLookupBytesOr0(triplets, EachBlock(spread)));
        StorePixels(hn::Or(colors, hn::And(mask, LoadPixels(destination))), destination);
    }
    for (; x < width; ++x, source += 3, destination += 4) std::memcpy(destination, source, 3);
}

// (t + (t >> 8) + 1) >> 8 for t = color * alpha is the upper half of (t + 1) * 257: the two differ by less than the bits that are
// dropped.
HWY_INLINE SignedWordVec Scaled(ByteVec colors, ByteVec alphas) {
    const WordVec product = hn::Mul(hn::BitCast(words, colors), hn::BitCast(words, alphas));
    return hn::BitCast(signed_words, hn::MulHigh(hn::Add(product, hn::Set(words, 1)), hn::Set(words, 257)));
}

HWY_INLINE void PremultiplyBlock(const std::uint8_t* source, std::uint8_t* destination) {
    static constexpr std::uint8_t lower_alpha[16] = {3, 0x80, 3, 0x80, 3, 0x80, 3, 0x80, 7, 0x80, 7, 0x80, 7, 0x80, 7, 0x80};
    static constexpr std::uint8_t upper_alpha[16] = {11, 0x80, 11, 0x80, 11, 0x80, 11, 0x80, 15, 0x80, 15, 0x80, 15, 0x80, 15, 0x80};
    const ByteVec pixels = hn::LoadU(bytes, source);
    const ByteVec zero = hn::Zero(bytes);
    const SignedWordVec lower = Scaled(hn::InterleaveLower(bytes, pixels, zero), hn::TableLookupBytesOr0(pixels, EachBlock(lower_alpha)));
    const SignedWordVec upper = Scaled(hn::InterleaveUpper(bytes, pixels, zero), hn::TableLookupBytesOr0(pixels, EachBlock(upper_alpha)));
    const auto is_alpha = hn::MaskFromVec(hn::BitCast(bytes, hn::Set(dwords, 0xFF000000U)));
    hn::StoreU(hn::IfThenElse(is_alpha, pixels, SaturatedBytes(lower, upper)), bytes, destination);
}

inline void PremultiplyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    std::int32_t x = 0;
    for (; x + 2 * packed_pixels <= width; x += 2 * packed_pixels, source += 2 * vector_bytes, destination += 2 * vector_bytes) {
        PremultiplyBlock(source, destination);
        PremultiplyBlock(source + vector_bytes, destination + vector_bytes);
    }
    for (; x + packed_pixels <= width; x += packed_pixels, source += vector_bytes, destination += vector_bytes) {
        PremultiplyBlock(source, destination);
    }
    if (x == width) return;
    HWY_ALIGN std::uint8_t rest[vector_bytes] = {};
    const std::size_t count = 4 * static_cast<std::size_t>(width - x);
    std::memcpy(rest, source, count);
    PremultiplyBlock(rest, rest);
    std::memcpy(destination, rest, count);
}

inline void FillAlphaRow(std::uint8_t value, std::uint8_t* first, std::int32_t width) {
    const DwordVec mask = hn::Set(dwords, 0xFF);
    const DwordVec alpha = hn::Set(dwords, value);
    std::int32_t x = 0;
    // A vector from an alpha byte on ends with the colours of the pixel after it, which has to be there.
    for (; x + packed_pixels < width; x += packed_pixels, first += vector_bytes) {
        StorePixels(hn::Or(hn::AndNot(mask, LoadPixels(first)), alpha), first);
    }
    for (; x < width; ++x, first += 4) *first = value;
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

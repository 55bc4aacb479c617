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

// Where a source lies otherwise in its lines of the cache than the destination, loads of 64 bytes
// are across two of them, and from memory took twice the time of loads of 32.
HWY_INLINE ByteVec LoadByHalves(const std::uint8_t* place) {
    if constexpr (vector_bytes < 64) return hn::LoadU(bytes, place);
    constexpr hn::Half<Bytes> half;
    return hn::Combine(bytes, hn::LoadU(half, place + vector_bytes / 2), hn::LoadU(half, place));
}

HWY_INLINE DwordVec LoadPixels(const std::uint8_t* place) {
    return hn::BitCast(dwords, hn::LoadU(bytes, place));
}
HWY_INLINE void StorePixels(DwordVec pixels, std::uint8_t* place) {
    hn::StoreU(hn::BitCast(bytes, pixels), bytes, place);
}

// How many pixels to go before the destination is at a whole vector. Vectors across lines of the
// cache would cost a third of the speed with 64 bytes, where each of them is.
inline std::int32_t PixelsToAlignment(const std::uint8_t* destination, std::int32_t width) {
    const auto past =
        static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(destination) % vector_bytes);
    if (past == 0 || past % 4 != 0) return 0;
    const std::int32_t pixels = (vector_bytes - past) / 4;
    return pixels < width ? pixels : width;
}

// Pixels that are no whole vector, one by one.
template <int source_bytes>
HWY_INLINE void CopyPixels(const std::uint8_t*& source, std::uint8_t*& destination,
                           std::int32_t count) {
    for (; count > 0; --count, source += source_bytes, destination += 4)
        std::memcpy(destination, source, 3);
}

inline void CopyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    std::int32_t x = PixelsToAlignment(destination, width);
    CopyPixels<4>(source, destination, x);
    for (; x + packed_pixels <= width;
         x += packed_pixels, source += vector_bytes, destination += vector_bytes) {
        StorePixels(WithAlphaOf(LoadPixels(source), LoadPixels(destination)), destination);
    }
    CopyPixels<4>(source, destination, width - x);
}

// Brings the three double words that make up four pixels into each block.
constexpr DwordOrder TripletOrder() {
    DwordOrder order{};
    for (int i = 0; i < vector_bytes / 4; ++i) order.from[i] = i / 4 * 3 + (i % 4 < 3 ? i % 4 : 0);
    return order;
}
constexpr DwordOrder triplet_order = TripletOrder();

inline void ExpandRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    static constexpr std::uint8_t spread[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                6, 7, 8, 0x80, 9, 10, 11, 0x80};
    // A load takes more than its pixels. Those that follow have to be there.
    constexpr std::int32_t loaded_pixels = (vector_bytes + 2) / 3;
    const DwordVec mask = hn::Set(dwords, 0xFF000000U);
    std::int32_t x = PixelsToAlignment(destination, width);
    CopyPixels<3>(source, destination, x);
    const auto triplets = [](const std::uint8_t* from)
                              HWY_ATTR { return Reorder(hn::LoadU(bytes, from), triplet_order); };
    const auto fourths = [&](const std::uint8_t* of)
                             HWY_ATTR { return hn::And(mask, LoadPixels(of)); };
    const auto put = [](ByteVec colors, DwordVec fourth, std::uint8_t* to) HWY_ATTR {
        StorePixels(
            hn::Or(hn::BitCast(dwords, hn::TableLookupBytesOr0(colors, EachBlock(spread))), fourth),
            to);
    };
#if !HWY_CAP_GE512
    // Two together, with all of both read before any is written: pictures that the caches do not
    // hold take a twentieth less.
    for (; x + packed_pixels + loaded_pixels <= width;
         x += 2 * packed_pixels, source += 6 * packed_pixels, destination += 2 * vector_bytes) {
        const ByteVec colors = triplets(source);
        const ByteVec next_colors = triplets(source + 3 * packed_pixels);
        const DwordVec fourth = fourths(destination);
        const DwordVec next_fourth = fourths(destination + vector_bytes);
        put(colors, fourth, destination);
        put(next_colors, next_fourth, destination + vector_bytes);
    }
#endif
    for (; x + loaded_pixels <= width;
         x += packed_pixels, source += 3 * packed_pixels, destination += vector_bytes) {
        put(triplets(source), fourths(destination), destination);
    }
    CopyPixels<3>(source, destination, width - x);
}

// (t + (t >> 8) + 1) >> 8 for t = color * alpha is, for all bytes, (257 color) * (256 alpha + 1)
// >> 24. First and third byte are the lower halves of their lanes when that is done, second and
// fourth the upper ones. Alpha itself goes by 255, which leaves it as it is.
HWY_INLINE void PremultiplyBlock(const std::uint8_t* source, std::uint8_t* destination) {
    static constexpr std::uint8_t first_third[16] = {0, 0, 2,  2,  4,  4,  6,  6,
                                                     8, 8, 10, 10, 12, 12, 14, 14};
    static constexpr std::uint8_t second_fourth[16] = {1, 1, 3,  3,  5,  5,  7,  7,
                                                       9, 9, 11, 11, 13, 13, 15, 15};
    static constexpr std::uint8_t alphas[16] = {0x80, 3,  0x80, 3,  0x80, 7,  0x80, 7,
                                                0x80, 11, 0x80, 11, 0x80, 15, 0x80, 15};
    const ByteVec pixels = LoadByHalves(source);
    const DwordVec alpha = hn::BitCast(dwords, hn::TableLookupBytesOr0(pixels, EachBlock(alphas)));
    const auto products = [&](const std::uint8_t(&order)[16], std::uint32_t set) HWY_ATTR {
        const WordVec colors = hn::BitCast(words, hn::TableLookupBytes(pixels, EachBlock(order)));
        return hn::MulHigh(colors, hn::BitCast(words, hn::Or(alpha, hn::Set(dwords, set))));
    };
    const WordVec lower = hn::ShiftRight<8>(products(first_third, 0x00010001));
    const ByteVec upper = hn::BitCast(bytes, products(second_fourth, 0xFF010001));
    const auto is_upper = hn::MaskFromVec(hn::BitCast(bytes, hn::Set(words, 0xFF00)));
    hn::StoreU(hn::IfThenElse(is_upper, upper, hn::BitCast(bytes, lower)), bytes, destination);
}

// Pixels that are no whole vector, by way of the stack.
inline void PremultiplySome(const std::uint8_t*& source, std::uint8_t*& destination,
                            std::int32_t pixels) {
    HWY_ALIGN std::uint8_t some[vector_bytes] = {};
    const std::size_t count = 4 * static_cast<std::size_t>(pixels);
    std::memcpy(some, source, count);
    PremultiplyBlock(some, some);
    std::memcpy(destination, some, count);
    source += count;
    destination += count;
}

inline void PremultiplyRow(const std::uint8_t* source, std::uint8_t* destination,
                           std::int32_t width) {
    std::int32_t x = PixelsToAlignment(destination, width);
    if (x > 0) PremultiplySome(source, destination, x);
#if !HWY_CAP_GE512
    for (; x + 2 * packed_pixels <= width;
         x += 2 * packed_pixels, source += 2 * vector_bytes, destination += 2 * vector_bytes) {
        PremultiplyBlock(source, destination);
        PremultiplyBlock(source + vector_bytes, destination + vector_bytes);
    }
#endif
    for (; x + packed_pixels <= width;
         x += packed_pixels, source += vector_bytes, destination += vector_bytes) {
        PremultiplyBlock(source, destination);
    }
    if (x < width) PremultiplySome(source, destination, width - x);
}

inline void CopyAsOpaqueRow(const std::uint8_t* source, std::uint8_t* destination,
                            std::int32_t width) {
    const auto some = [&](std::int32_t count) {
        for (; count > 0; --count, source += 4, destination += 4) {
            std::memcpy(destination, source, 3);
            destination[3] = 255;
        }
    };
    std::int32_t x = PixelsToAlignment(destination, width);
    some(x);
    const DwordVec alpha = hn::Set(dwords, 0xFF000000U);
    const auto opaque = [&](const std::uint8_t* place) HWY_ATTR {
        return hn::Or(hn::BitCast(dwords, LoadByHalves(place)), alpha);
    };
    for (; x + 2 * packed_pixels <= width;
         x += 2 * packed_pixels, source += 2 * vector_bytes, destination += 2 * vector_bytes) {
        const DwordVec pixels = opaque(source);
        const DwordVec next_pixels = opaque(source + vector_bytes);
        StorePixels(pixels, destination);
        StorePixels(next_pixels, destination + vector_bytes);
    }
    some(width - x);
}

inline void FillAlphaRow(std::uint8_t value, std::uint8_t* first, std::int32_t width) {
    // Bytes before the first alpha byte must not change, so whole pixels begin after it.
    *first = value;
    std::uint8_t* destination = first + 1;
    std::int32_t x = 1;
    for (const std::int32_t head = 1 + PixelsToAlignment(destination, width - 1); x < head;
         ++x, destination += 4)
        destination[3] = value;
    const DwordVec mask = hn::Set(dwords, 0xFF000000U);
    const DwordVec alpha = hn::Set(dwords, static_cast<std::uint32_t>(value) << 24);
    const auto filled = [&](const std::uint8_t* place)
                            HWY_ATTR { return hn::Or(hn::AndNot(mask, LoadPixels(place)), alpha); };
    for (; x + 2 * packed_pixels <= width;
         x += 2 * packed_pixels, destination += 2 * vector_bytes) {
        const DwordVec pixels = filled(destination);
        const DwordVec next_pixels = filled(destination + vector_bytes);
        StorePixels(pixels, destination);
        StorePixels(next_pixels, destination + vector_bytes);
    }
    for (; x + packed_pixels <= width; x += packed_pixels, destination += vector_bytes)
        StorePixels(filled(destination), destination);
    for (; x < width; ++x, destination += 4) destination[3] = value;
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

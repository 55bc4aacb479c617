// What the rows of all formats have in common. Compiled once per processor.
#if defined(VIMBREL_PIXEL_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_LANES_INL_H
#undef VIMBREL_PIXEL_LANES_INL_H
#else
#define VIMBREL_PIXEL_LANES_INL_H
#endif

#include <cstdint>
#include <cstring>

#include "hwy/highway.h"
#include "pixel/vector/X86-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

using Bytes = hn::ScalableTag<std::uint8_t>;
using Words = hn::ScalableTag<std::uint16_t>;
using SignedWords = hn::ScalableTag<std::int16_t>;
using Dwords = hn::ScalableTag<std::uint32_t>;
using ByteVec = hn::Vec<Bytes>;
using WordVec = hn::Vec<Words>;
using SignedWordVec = hn::Vec<SignedWords>;
using DwordVec = hn::Vec<Dwords>;

constexpr Bytes bytes;
constexpr Words words;
constexpr SignedWords signed_words;
constexpr Dwords dwords;

// Bytes of a vector, and its 16-byte blocks, which most shuffles stay within.
constexpr std::int32_t vector_bytes = HWY_LANES(std::uint8_t);
constexpr std::int32_t vector_blocks = vector_bytes / 16;

// The same 16 bytes in each block.
HWY_INLINE ByteVec EachBlock(const std::uint8_t (&table)[16]) {
    return hn::LoadDup128(bytes, table);
}

// Where each double word of the result comes from.
struct DwordOrder {
    HWY_ALIGN std::int32_t from[vector_bytes / 4];
};

template <class V>
HWY_INLINE V Reorder(V v, const DwordOrder& order) {
    if constexpr (vector_blocks == 1) return v;
    return hn::BitCast(
        hn::DFromV<V>(),
        hn::TableLookupLanes(hn::BitCast(dwords, v), hn::SetTableIndices(dwords, order.from)));
}

// Puts in order the columns of four vectors of 32-bit numbers, packed together to one of bytes:
// block b holds a column of each.
constexpr DwordOrder PackedColumnOrder() {
    DwordOrder order{};
    for (int vector = 0; vector < 4; ++vector) {
        for (int block = 0; block < vector_blocks; ++block)
            order.from[vector * vector_blocks + block] = 4 * block + vector;
    }
    return order;
}
constexpr DwordOrder packed_column_order = PackedColumnOrder();

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

// The rows of all formats of luma and chroma.
#if defined(VIMBREL_PIXEL_YUV_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VIMBREL_PIXEL_YUV_ROWS_INL_H
#undef VIMBREL_PIXEL_YUV_ROWS_INL_H
#else
#define VIMBREL_PIXEL_YUV_ROWS_INL_H
#endif

#include "pixel/Kernels.h"
#include "pixel/vector/YuvColors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

// `reversed` writes red, green, blue instead of blue, green, red.
template <bool reversed>
HWY_INLINE void PutColors(const BlockColors& colors, std::uint8_t alpha,
                          std::uint8_t* HWY_RESTRICT destination) {
    const ByteVec first = reversed ? colors.red : colors.blue;
    const ByteVec third = reversed ? colors.blue : colors.red;
    const ByteVec fourth = hn::Set(bytes, alpha);
    const WordVec front_lower = hn::BitCast(words, hn::InterleaveLower(bytes, first, colors.green));
    const WordVec front_upper = hn::BitCast(words, hn::InterleaveUpper(bytes, first, colors.green));
    const WordVec back_lower = hn::BitCast(words, hn::InterleaveLower(bytes, third, fourth));
    const WordVec back_upper = hn::BitCast(words, hn::InterleaveUpper(bytes, third, fourth));
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveLower(words, front_lower, back_lower)), bytes,
               destination);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveUpper(words, front_lower, back_lower)), bytes,
               destination + vector_bytes);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveLower(words, front_upper, back_upper)), bytes,
               destination + 2 * vector_bytes);
    hn::StoreU(hn::BitCast(bytes, hn::InterleaveUpper(words, front_upper, back_upper)), bytes,
               destination + 3 * vector_bytes);
}

// Converts a block of turned luma.
template <const Matrix& matrix, bool reversed = false, class ChromaKind>
HWY_INLINE void PutBlock(ByteVec turned_luma, const ChromaKind& chroma, std::uint8_t alpha,
                         std::uint8_t* HWY_RESTRICT destination) {
    PutColors<reversed>(ColorsOf<matrix>(turned_luma, chroma), alpha, destination);
}

// The rounded colours of one vector of YUY2, half as many pixels as it has bytes.
struct HalfBlockColors {
    SignedWordVec red, green, blue;
};

// Kept: the coefficients are exchanged, as the first chroma byte is taken for Cr.
HWY_INLINE HalfBlockColors RoundedYuy2(const std::uint8_t* HWY_RESTRICT source) {
    const ByteVec turned = studio::HighestBitTurned(LoadInnerExchanged(source));
    const WordVec cr_cb = hn::And(hn::BitCast(words, turned), hn::Set(words, 0xFF00));
    const studio::Chroma chroma = studio::ChromaOfPairs(hn::BitCast(signed_words, cr_cb));
    const SignedWordVec luma = studio::Luma<false>(turned);
    return {studio::Whole(luma, chroma.red), studio::Whole(luma, chroma.green),
            studio::Whole(luma, chroma.blue)};
}

// Formats of which a double word holds two pixels. `luma_low` is YUY2, with its exchanged colours;
// else it is UYVY.
template <const Matrix& matrix, bool luma_low>
HWY_INLINE void PutPackedBlock(const std::uint8_t* HWY_RESTRICT source,
                               std::uint8_t* HWY_RESTRICT destination, std::uint8_t alpha) {
    if constexpr (!exact<matrix>) {
        static_assert(luma_low);
        const HalfBlockColors front = RoundedYuy2(source);
        const HalfBlockColors back = RoundedYuy2(source + vector_bytes);
        PutColors<true>(
            {SaturatedBytes(front.red, back.red), SaturatedBytes(front.green, back.green),
             SaturatedBytes(front.blue, back.blue)},
            alpha, destination);
        return;
    }
    // Luma in the lower half of each 16-byte block, chroma in the upper.
    static constexpr std::uint8_t low_first[16] = {0, 2, 4, 6, 8, 10, 12, 14,
                                                   1, 3, 5, 7, 9, 11, 13, 15};
    static constexpr std::uint8_t high_first[16] = {1, 3, 5, 7, 9, 11, 13, 15,
                                                    0, 2, 4, 6, 8, 10, 12, 14};
    constexpr hn::ScalableTag<std::uint64_t> qwords;
    const ByteVec parted = luma_low ? EachBlock(low_first) : EachBlock(high_first);
    const auto part = [&](const std::uint8_t* from) HWY_ATTR {
        return hn::BitCast(
            qwords,
            hn::TableLookupBytes(Reorder(hn::LoadU(bytes, from), turned_packed_order), parted));
    };
    const auto front = part(source);
    const auto back = part(source + vector_bytes);
    const ByteVec luma = hn::BitCast(bytes, hn::InterleaveLower(qwords, front, back));
    const ByteVec chroma = hn::BitCast(bytes, hn::InterleaveUpper(qwords, front, back));
    // YUY2's exchanged coefficients: its chroma bytes change roles, and red and blue their
    // places.
    constexpr ChromaOrder order = luma_low ? ChromaOrder::cr_cb : ChromaOrder::cb_cr;
    PutBlock<matrix, luma_low>(luma, Chroma<matrix, order>(chroma), alpha, destination);
}

template <const Matrix& matrix, bool luma_low>
void PackedYuvRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width,
                  std::uint8_t alpha) {
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
        // The second chroma byte of an odd last pixel is the previous group's, or the first one
        // itself, as in the reference.
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

    HWY_INLINE ByteVec Load() const { return Reorder(hn::LoadU(bytes, chroma), turned_order); }
    HWY_INLINE void Skip(std::ptrdiff_t blocks = 1) { chroma += blocks * 2 * block_pairs; }
};

struct Planar {
    const std::uint8_t* cb;
    const std::uint8_t* cr;

    HWY_INLINE ByteVec Load() const {
        constexpr hn::Half<Bytes> half;
        const WordVec low = hn::PromoteTo(words, hn::LoadU(half, cb));
        const WordVec high = hn::PromoteTo(words, hn::LoadU(half, cr));
        return hn::BitCast(bytes, Reorder(hn::Or(low, hn::ShiftLeft<8>(high)), turned_order));
    }
    HWY_INLINE void Skip(std::ptrdiff_t blocks = 1) {
        cb += blocks * block_pairs;
        cr += blocks * block_pairs;
    }
};

// Converts whole blocks of one row, or of both with their chroma computed once.
template <const Matrix& matrix, int row_count, class Source>
HWY_INLINE void PutBlocks(const RowPair& rows, int first_row, Source source) {
    const std::uint8_t* upper = rows.luma[first_row];
    const std::uint8_t* lower = rows.luma[1];
    std::uint8_t* above = rows.destination[first_row];
    std::uint8_t* below = rows.destination[1];
    const std::uint8_t alpha = rows.alpha;
    for (std::int32_t i = rows.pairs / block_pairs; i > 0; --i, source.Skip()) {
        const auto chroma = ChromaOf<matrix, ChromaOrder::cb_cr>(source.Load());
        PutBlock<matrix>(Reorder(hn::LoadU(bytes, upper), turned_order), chroma, alpha, above);
        if constexpr (row_count == 2)
            PutBlock<matrix>(Reorder(hn::LoadU(bytes, lower), turned_order), chroma, alpha, below);
        upper += block_pixels;
        lower += block_pixels;
        above += 4 * block_pixels;
        below += 4 * block_pixels;
    }
}

// Returns how many pairs of pixels that were.
template <const Matrix& matrix, class Source>
HWY_INLINE std::int32_t PutBlockPairs(const RowPair& rows, Source& source) {
    const std::int32_t blocks = rows.pairs / block_pairs;
    if (rows.one_by_one) {
        // The same instructions for both rows: the processor fetches ahead by instruction, and so
        // sees one stream through the picture. Two loops would each leave out every other row,
        // which took half as long again.
        for (int row = 0; row < 2; ++row) PutBlocks<matrix, 1>(rows, row, source);
    } else {
        PutBlocks<matrix, 2>(rows, 0, source);
    }
    source.Skip(blocks);
    return blocks * block_pairs;
}

// The rest of a row pair, less than a block, by way of the stack; the chroma was brought there by
// the caller.
template <const Matrix& matrix, class Source>
void PutRestPairs(const RowPair& rows, std::int32_t from, const Source& source) {
    const std::ptrdiff_t x = 2 * static_cast<std::ptrdiff_t>(from);
    const std::size_t rest = 2 * static_cast<std::size_t>(rows.pairs - from);
    HWY_ALIGN std::uint8_t in[block_pixels] = {};
    HWY_ALIGN std::uint8_t out[4 * block_pixels];
    const auto chroma = ChromaOf<matrix, ChromaOrder::cb_cr>(source.Load());
    for (int row = 0; row < 2; ++row) {
        std::memcpy(in, rows.luma[row] + x, rest);
        PutBlock<matrix>(Reorder(hn::Load(bytes, in), turned_order), chroma, rows.alpha, out);
        std::memcpy(rows.destination[row] + 4 * x, out, 4 * rest);
    }
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

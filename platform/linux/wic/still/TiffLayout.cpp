#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

namespace {

class TiffReader {
public:
    explicit TiffReader(ByteView file) : file_(file), big_endian_(file.U8(0) == 'M') {}

    std::uint32_t U16(std::uint64_t at) const {
        return big_endian_ ? file_.Be16(at) : file_.Le16(at);
    }
    std::uint32_t U32(std::uint64_t at) const {
        return big_endian_ ? file_.Be32(at) : file_.Le32(at);
    }

    // Of the directory at `at`.
    std::uint64_t Next(std::uint64_t at) const { return U32(at + 2 + std::uint64_t{12} * U16(at)); }

    // Goes to the entry of `tag`, whose values are then read by Value.
    bool Find(std::uint64_t directory, std::uint32_t tag) {
        const std::uint32_t entries = U16(directory);
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint64_t at = directory + 2 + std::uint64_t{12} * i;
            if (U16(at) != tag) continue;
            const std::uint32_t type = U16(at + 2);
            size_ = type == 3 ? 2 : type == 4 ? 4 : type == 1 ? 1 : 0;
            if (size_ == 0) return false;
            count_ = U32(at + 4);
            values_ = std::uint64_t{count_} * size_ <= 4 ? at + 8 : U32(at + 8);
            return file_.Has(values_, std::uint64_t{count_} * size_) && count_ > 0;
        }
        return false;
    }
    std::uint32_t Count() const { return count_; }
    std::uint32_t Value(std::uint32_t index) const {
        const std::uint64_t at = values_ + std::uint64_t{index} * size_;
        return size_ == 2 ? U16(at) : size_ == 4 ? U32(at) : file_.U8(at);
    }
    std::uint32_t First(std::uint64_t directory, std::uint32_t tag, std::uint32_t otherwise) {
        return Find(directory, tag) ? Value(0) : otherwise;
    }

private:
    ByteView file_;
    bool big_endian_;
    std::uint64_t values_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t size_ = 0;
};

// Bytes of a value, by its type.
std::uint64_t ValueSize(std::uint32_t type) {
    constexpr std::array<std::uint8_t, 14> sizes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizes.size() ? sizes[type] : 0;
}

// Whether the file holds all that the directory at `at` points to. `budget` falls by what was
// looked at: parts of a sound file do not overlap, so that there is not more of it than the file
// has bytes.
bool HasDirectory(TiffReader& tiff, ByteView file, std::uint64_t at, std::uint64_t* budget) {
    const std::uint32_t entries = tiff.U16(at);
    if (!file.Has(at, 2 + std::uint64_t{12} * entries + 4) || entries >= *budget) return false;
    *budget -= entries + 1;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint64_t entry = at + 2 + std::uint64_t{12} * i;
        const std::uint64_t size = ValueSize(tiff.U16(entry + 2)) * tiff.U32(entry + 4);
        if (size > 4 && !file.Has(tiff.U32(entry + 8), size)) return false;
    }
    TiffReader sizes = tiff;
    if (!tiff.Find(at, 273) || !sizes.Find(at, 279)) return true;
    const std::uint32_t strips = std::min(tiff.Count(), sizes.Count());
    if (strips >= *budget) return false;
    *budget -= strips;
    for (std::uint32_t i = 0; i < strips; ++i) {
        if (!file.Has(tiff.Value(i), sizes.Value(i))) return false;
    }
    return true;
}

// The chain of directories, which may come back to one that was there before.
HRESULT CheckPages(TiffReader& tiff, ByteView file, std::uint64_t directory, UINT* pages) {
    std::uint64_t budget = file.Size();
    std::uint64_t mark = 0;
    UINT next_mark = 1;
    for (*pages = 0; directory != 0 && directory != mark; directory = tiff.Next(directory)) {
        if (!HasDirectory(tiff, file, directory, &budget)) return WINCODEC_ERR_BADIMAGE;
        if (++*pages == next_mark) {
            mark = directory;
            next_mark *= 2;
        }
    }
    return S_OK;
}

// The decoder leaves out rows that a strip is too short for.
HRESULT CheckPlainStrips(TiffReader& tiff, std::uint64_t directory, const StillLayout& layout) {
    const std::uint32_t samples = tiff.First(directory, 277, 1);
    const std::uint32_t bits = tiff.First(directory, 258, 1);
    const bool planar = tiff.First(directory, 284, 1) == 2;
    const std::uint64_t row = (std::uint64_t{layout.width} * bits * (planar ? 1 : samples) + 7) / 8;
    const std::uint64_t strip_rows =
        std::clamp<std::uint64_t>(tiff.First(directory, 278, layout.height), 1, layout.height);
    const std::uint64_t strips = (layout.height + strip_rows - 1) / strip_rows;
    if (!tiff.Find(directory, 279))
        return S_OK;  // the decoder takes all up to the file's end, and tests that
    const std::uint64_t parts = strips * (planar ? samples : 1);
    if (tiff.Count() < parts) return WINCODEC_ERR_BADIMAGE;
    for (std::uint64_t i = 0; i < parts; ++i) {
        const std::uint64_t rows = std::min(strip_rows, layout.height - i % strips * strip_rows);
        if (tiff.Value(static_cast<std::uint32_t>(i)) < row * rows) return WINCODEC_ERR_BADIMAGE;
    }
    return S_OK;
}

}  // namespace

HRESULT ReadTiffLayout(ByteView file, StillLayout* layout) {
    constexpr std::uint32_t uncompressed = 1;
    constexpr std::uint32_t old_jpeg = 6;
    constexpr std::uint32_t new_jpeg = 7;
    constexpr std::uint32_t raw_camera_version = 50706;
    constexpr std::uint32_t separated = 5;
    constexpr std::uint32_t associated_alpha = 1;
    constexpr std::uint32_t unsigned_samples = 1;

    TiffReader tiff(file);
    const std::uint64_t first = tiff.U32(4);
    if (!file.Has(first, 2) || !file.Has(first, 2 + std::uint64_t{12} * tiff.U16(first) + 4))
        return WINCODEC_ERR_BADHEADER;
    if (tiff.Find(first, 256) && tiff.Count() == 1) layout->width = tiff.Value(0);
    if (tiff.Find(first, 257) && tiff.Count() == 1) layout->height = tiff.Value(0);
    HRESULT hr = CheckPictureSize(layout->width, layout->height);
    if (FAILED(hr)) return hr;
    const std::uint32_t compression = tiff.First(first, 259, uncompressed);
    if (compression == old_jpeg || compression == new_jpeg || tiff.Find(first, raw_camera_version))
        return WINCODEC_ERR_COMPONENTNOTFOUND;

    if (tiff.First(first, 339, unsigned_samples) != unsigned_samples)
        return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;

    hr = CheckPages(tiff, file, first, &layout->pages);
    if (FAILED(hr)) return hr;
    layout->premultiplied = tiff.First(first, 338, 0) == associated_alpha;
    layout->opaque = tiff.First(first, 262, 0) == separated;

    if (!tiff.Find(first, 273)) return WINCODEC_ERR_COMPONENTNOTFOUND;  // tiles
    return compression == uncompressed ? CheckPlainStrips(tiff, first, *layout) : S_OK;
}

void TrimTiffDirectory(std::uint8_t* bytes, std::size_t size) {
    // Sizes, samples, compression and its options, strips, predictor, colour map, chroma.
    constexpr std::array<std::uint32_t, 17> kept = {256, 257, 258, 259, 262, 266, 273, 277, 278,
                                                    279, 284, 292, 293, 317, 320, 530, 532};

    const TiffReader tiff(ByteView(bytes, size));
    const std::uint64_t directory = tiff.U32(4);
    const std::uint32_t entries = tiff.U16(directory);
    std::uint8_t* to = bytes + directory + 2;
    std::uint32_t left = 0;
    std::array<bool, kept.size()> seen{};
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint64_t from = directory + 2 + std::uint64_t{12} * i;
        const auto found = std::find(kept.begin(), kept.end(), tiff.U16(from));
        if (found == kept.end()) continue;
        // Of a tag that stands twice the first counts, as in the layout; the decoder would take the
        // last.
        if (std::exchange(seen[static_cast<std::size_t>(found - kept.begin())], true)) continue;
        std::memmove(to, bytes + from, 12);
        to += 12;
        ++left;
    }
    std::memset(to, 0, 4);  // no next directory
    const bool big_endian = bytes[0] == 'M';
    bytes[directory + (big_endian ? 1 : 0)] = static_cast<std::uint8_t>(left);
    bytes[directory + (big_endian ? 0 : 1)] = static_cast<std::uint8_t>(left >> 8);
}

}  // namespace Vimbrel

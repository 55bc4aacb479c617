#include <array>
#include <cstring>

#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

namespace {

constexpr std::uint32_t start_of_image = 0xD8;
constexpr std::uint32_t end_of_image = 0xD9;
constexpr std::uint32_t huffman_tables = 0xC4;
constexpr std::uint32_t start_of_scan = 0xDA;
constexpr std::uint32_t adobe_segment = 0xEE;

bool IsFrameHeader(std::uint32_t marker) {
    // DHT, JPG and DAC stand between the frame headers.
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Place of the next marker's code, or the file's size: over coded data with its stuffed zeros and
// restart marks, and over anything else that is no marker.
std::size_t FindMarker(ByteView file, std::size_t at) {
    while (at < file.Size()) {
        const void* found = std::memchr(file.Data() + at, 0xFF, file.Size() - at);
        if (!found) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - file.Data()) + 1;
        const std::uint32_t code = file.U8(at);
        const bool restart = code >= 0xD0 && code <= 0xD7;
        if (code != 0 && code != 0xFF && !restart && at < file.Size()) return at;
    }
    return file.Size();
}

// Whether the codes of each table of the segment fit their lengths. The decoder writes to stderr,
// past every context, where they do not.
bool HasSoundTables(ByteView file, std::size_t at, std::size_t end) {
    while (at < end) {
        std::uint32_t code = 0;
        std::uint32_t symbols = 0;
        for (std::uint32_t length = 1; length <= 16; ++length) {
            const std::uint32_t count = file.U8(at + length);
            code += count;
            symbols += count;
            if (code > 1u << length) return false;
            code *= 2;
        }
        at += 17 + symbols;
    }
    return at == end;
}

}  // namespace

HRESULT ReadJpegLayout(ByteView file, StillLayout* layout) {
    std::array<bool, 256> unseen{};  // components of the frame that no scan brought yet
    std::uint32_t components = 0;
    bool adobe = false;
    for (std::size_t at = FindMarker(file, 2); at < file.Size(); at = FindMarker(file, at)) {
        const std::uint32_t marker = file.U8(at);
        if (marker == start_of_image) {
            at += 1;
            continue;
        }
        if (marker == end_of_image) {
            if (components == 0) return WINCODEC_ERR_BADIMAGE;
            for (const bool missing : unseen) {
                if (missing) return WINCODEC_ERR_BADIMAGE;
            }
            // Without the maker's mark the four components are inks as the standard has them, not
            // inverted.
            layout->plain_inks = components == 4 && !adobe;
            layout->opaque = true;
            return S_OK;
        }
        const std::uint32_t size = file.Be16(at + 1);
        if (size < 2 || !file.Has(at + 1, size)) return WINCODEC_ERR_BADIMAGE;
        if (IsFrameHeader(marker)) {
            if (components != 0) return WINCODEC_ERR_BADIMAGE;
            layout->height = file.Be16(at + 4);
            layout->width = file.Be16(at + 6);
            components = file.U8(at + 8);
            const HRESULT hr = CheckPictureSize(layout->width, layout->height);
            if (FAILED(hr)) return hr;
            if (components == 0 || components > 4 || size < 8 + 3 * components)
                return WINCODEC_ERR_BADHEADER;
            for (std::uint32_t i = 0; i < components; ++i)
                unseen[file.U8(at + 9 + std::size_t{3} * i)] = true;
        } else if (marker == huffman_tables) {
            if (!HasSoundTables(file, at + 3, at + 1 + size)) return WINCODEC_ERR_BADIMAGE;
        } else if (marker == start_of_scan) {
            const std::uint32_t count = file.U8(at + 3);
            for (std::uint32_t i = 0; i < count; ++i)
                unseen[file.U8(at + 4 + std::size_t{2} * i)] = false;
        } else if (marker == adobe_segment && file.StartsWith("Adobe", 5, at + 3)) {
            adobe = true;
        }
        at += 1 + size;
    }
    return WINCODEC_ERR_BADIMAGE;
}

}  // namespace Vimbrel

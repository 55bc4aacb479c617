#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

HRESULT ReadPngLayout(ByteView file, StillLayout* layout) {
    constexpr std::uint32_t header = 0x49484452;     // IHDR
    constexpr std::uint32_t data = 0x49444154;       // IDAT
    constexpr std::uint32_t end = 0x49454E44;        // IEND
    constexpr std::uint32_t key_color = 0x74524E53;  // tRNS
    constexpr std::uint32_t end_crc = 0xAE426082;
    constexpr std::uint32_t palette_color = 3;

    if (file.Be32(8) != 13 || file.Be32(12) != header || !file.Has(16, 17))
        return WINCODEC_ERR_BADHEADER;
    layout->width = file.Be32(16);
    layout->height = file.Be32(20);
    const HRESULT hr = CheckPictureSize(layout->width, layout->height);
    if (FAILED(hr)) return hr;
    const std::uint32_t color_type = file.U8(25);
    const bool interlaced = file.U8(28) != 0;
    layout->hidden_tail = interlaced;

    // The decoder tests the checksums of the chunks that it reads.
    bool has_data = false;
    for (std::uint64_t at = 33; file.Has(at, 12);) {
        const std::uint32_t size = file.Be32(at);
        const std::uint32_t type = file.Be32(at + 4);
        if (type == end) {
            return size == 0 && file.Be32(at + 8) == end_crc && has_data ? S_OK
                                                                         : WINCODEC_ERR_BADIMAGE;
        }
        if (type == data) has_data = true;
        // Alpha is made from the colour after the rows are read, and so for missing rows too.
        if (type == key_color && color_type != palette_color) layout->hidden_tail = true;
        at += std::uint64_t{12} + size;
    }
    return WINCODEC_ERR_BADIMAGE;
}

}  // namespace Vimbrel

#include <cstdlib>

#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

HRESULT ReadBmpLayout(ByteView file, StillLayout* layout) {
    constexpr std::uint32_t rle8 = 1;
    constexpr std::uint32_t rle4 = 2;

    const std::uint32_t header_size = file.Le32(14);
    if (!file.Has(14, header_size)) return WINCODEC_ERR_BADHEADER;
    const bool short_header = header_size == 12;
    std::uint32_t bits = 0;
    std::uint32_t compression = 0;
    if (short_header) {
        layout->width = file.Le16(18);
        layout->height = file.Le16(20);
        bits = file.Le16(24);
    } else {
        layout->width = file.Le32(18);
        const auto height = static_cast<std::int32_t>(file.Le32(22));  // negative for rows top down
        layout->height = static_cast<UINT>(std::llabs(height));
        bits = file.Le16(28);
        if (header_size >= 40) compression = file.Le32(30);
    }
    const HRESULT hr = CheckPictureSize(layout->width, layout->height);
    if (FAILED(hr)) return hr;

    const std::uint64_t row = (std::uint64_t{layout->width} * bits + 31) / 32 * 4;
    std::uint64_t pixels = row * layout->height;
    if (compression == rle8 || compression == rle4) {
        pixels = file.Le32(34);
        if (pixels == 0) return WINCODEC_ERR_BADHEADER;
    }
    return file.Has(file.Le32(10), pixels) ? S_OK : WINCODEC_ERR_BADIMAGE;
}

}  // namespace Vimbrel

#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

HRESULT ReadWebpLayout(ByteView file, StillLayout* layout) {
    constexpr std::uint32_t lossy = 0x20385056;      // "VP8 "
    constexpr std::uint32_t lossless = 0x4C385056;   // "VP8L"
    constexpr std::uint32_t extended = 0x58385056;   // "VP8X"
    constexpr std::uint32_t animation = 0x4D494E41;  // "ANIM"

    const std::uint64_t end = std::uint64_t{8} + file.Le32(4);
    if (!file.Has(0, end)) return WINCODEC_ERR_BADIMAGE;
    UINT canvas_width = 0;
    UINT canvas_height = 0;
    for (std::uint64_t at = 12; at + 8 <= end;) {
        const std::uint32_t type = file.Le32(at);
        const std::uint64_t size = file.Le32(at + 4);
        const std::uint64_t body = at + 8;
        if (body + size > end) return WINCODEC_ERR_BADIMAGE;
        if (type == extended) {
            canvas_width = file.Le24(body + 4) + 1;
            canvas_height = file.Le24(body + 7) + 1;
        } else if (type == animation) {
            return WINCODEC_ERR_COMPONENTNOTFOUND;
        } else if (type == lossy || type == lossless) {
            if (size < 10 && !(type == lossless && size >= 5)) return WINCODEC_ERR_BADIMAGE;
            const std::uint32_t packed = file.Le32(body + 1);
            layout->width = type == lossy ? file.Le16(body + 6) & 0x3FFF : (packed & 0x3FFF) + 1;
            layout->height =
                type == lossy ? file.Le16(body + 8) & 0x3FFF : (packed >> 14 & 0x3FFF) + 1;
            if (canvas_width != 0 &&
                (canvas_width != layout->width || canvas_height != layout->height))
                return WINCODEC_ERR_BADIMAGE;
            return CheckPictureSize(layout->width, layout->height);
        }
        at = body + size + (size & 1);
    }
    return WINCODEC_ERR_BADIMAGE;
}

}  // namespace Vimbrel

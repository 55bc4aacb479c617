#include "platform/linux/wic/PbgraScaler.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <cstring>
#include <limits>
#include <memory>

namespace Vimbrel {

namespace {

int FilterOf(WICBitmapInterpolationMode mode) {
    switch (mode) {
        case WICBitmapInterpolationModeNearestNeighbor:
            return SWS_POINT;
        case WICBitmapInterpolationModeCubic:
            return SWS_BICUBIC;
        case WICBitmapInterpolationModeFant:
            return SWS_AREA;
        default:
            return SWS_BILINEAR;
    }
}

}  // namespace

HRESULT ScalePbgra(const PbgraView& source, UINT width, UINT height, WICBitmapInterpolationMode mode, std::uint8_t* pixels,
                   std::size_t stride) {
    if (source.width == width && source.height == height) {
        for (UINT y = 0; y < height; ++y) std::memcpy(pixels + y * stride, source.pixels + y * source.stride, std::size_t{width} * 4);
        return S_OK;
    }
    constexpr std::size_t int_limit = std::numeric_limits<int>::max();
    if (source.stride > int_limit || stride > int_limit) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    const std::unique_ptr<SwsContext, void (*)(SwsContext*)> context(
        sws_getContext(static_cast<int>(source.width), static_cast<int>(source.height), AV_PIX_FMT_BGRA, static_cast<int>(width),
                       static_cast<int>(height), AV_PIX_FMT_BGRA, FilterOf(mode), nullptr, nullptr, nullptr),
        sws_freeContext);
    if (!context) return E_OUTOFMEMORY;
    const std::uint8_t* from[] = {source.pixels};
    const int from_stride[] = {static_cast<int>(source.stride)};
    std::uint8_t* to[] = {pixels};
    const int to_stride[] = {static_cast<int>(stride)};
    return sws_scale(context.get(), from, from_stride, 0, static_cast<int>(source.height), to, to_stride) > 0 ? S_OK : E_FAIL;
}

}  // namespace Vimbrel

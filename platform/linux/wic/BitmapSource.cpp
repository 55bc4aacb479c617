#include "platform/linux/wic/BitmapSource.h"

#include <cstring>
#include <new>
#include <vector>

namespace Vimbrel {

BitmapSource* AsBitmapSource(IWICBitmapSource* source) {
    return dynamic_cast<BitmapSource*>(source);
}

HRESULT CheckCopy(const WICRect* rect, UINT stride, UINT size, const BYTE* pixels, UINT width,
                  UINT height, UINT pixel_bytes, WICRect* area) {
    if (!pixels) return E_INVALIDARG;
    *area = rect ? *rect : WICRect{0, 0, static_cast<INT>(width), static_cast<INT>(height)};
    if (area->X < 0 || area->Y < 0 || area->Width <= 0 || area->Height <= 0) return E_INVALIDARG;
    if (static_cast<std::int64_t>(area->X) + area->Width > width ||
        static_cast<std::int64_t>(area->Y) + area->Height > height)
        return E_INVALIDARG;
    const std::uint64_t row = std::uint64_t{pixel_bytes} * static_cast<std::uint64_t>(area->Width);
    if (stride < row) return E_INVALIDARG;
    if (size < std::uint64_t{stride} * static_cast<std::uint64_t>(area->Height - 1) + row)
        return WINCODEC_ERR_INSUFFICIENTBUFFER;
    return S_OK;
}

HRESULT CopyRendered(BitmapSource& source, const WICRect* rect, UINT stride, UINT size,
                     BYTE* pixels) {
    const UINT width = source.Width();
    const UINT height = source.Height();
    WICRect area{};
    HRESULT hr = CheckCopy(rect, stride, size, pixels, width, height, 4, &area);
    if (FAILED(hr)) return hr;
    if (area.X == 0 && area.Y == 0 && static_cast<UINT>(area.Width) == width &&
        static_cast<UINT>(area.Height) == height) {
        return source.RenderPbgra(width, height, WICBitmapInterpolationModeNearestNeighbor, pixels,
                                  stride);
    }
    try {
        std::vector<std::uint8_t> whole(std::size_t{width} * height * 4);
        hr = source.RenderPbgra(width, height, WICBitmapInterpolationModeNearestNeighbor,
                                whole.data(), std::size_t{width} * 4);
        if (FAILED(hr)) return hr;
        for (INT y = 0; y < area.Height; ++y) {
            std::memcpy(pixels + std::size_t{stride} * static_cast<std::size_t>(y),
                        whole.data() + (static_cast<std::size_t>(area.Y + y) * width +
                                        static_cast<std::size_t>(area.X)) *
                                           4,
                        static_cast<std::size_t>(area.Width) * 4);
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

}  // namespace Vimbrel

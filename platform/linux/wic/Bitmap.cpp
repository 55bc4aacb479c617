#include <cstring>

#include "platform/linux/wic/FrameSource.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

namespace {

class Bitmap final : public FrameSource<Implements<IWICBitmap, IWICBitmapSource>> {
public:
    Bitmap(FfmpegPtr<AVFrame> frame, bool straight)
        : FrameSource(std::move(frame)), straight_(straight) {}

    bool Straight() const override { return straight_; }

private:
    const bool straight_;
};

}  // namespace

HRESULT CreateBitmap(UINT width, UINT height, UINT stride, UINT size, const BYTE* pixels,
                     IWICBitmap** bitmap, bool straight) {
    *bitmap = nullptr;
    if (width == 0 || height == 0) return E_INVALIDARG;
    HRESULT hr = CheckPictureSize(width, height);
    if (FAILED(hr)) return hr;
    WICRect area{};
    hr = CheckCopy(nullptr, stride, size, pixels, width, height, 4, &area);
    if (FAILED(hr)) return hr;
    FfmpegPtr<AVFrame> frame = AllocateBgra(width, height);
    if (!frame) return E_OUTOFMEMORY;
    for (UINT y = 0; y < height; ++y) {
        std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(frame->linesize[0]) * y,
                    pixels + std::size_t{stride} * y, std::size_t{width} * 4);
    }
    return CreateCom<Bitmap>(bitmap, std::move(frame), straight);
}

}  // namespace Vimbrel

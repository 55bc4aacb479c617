// A picture in memory, owned.
#pragma once

#include <utility>

#include "platform/linux/wic/FrameRenderer.h"
#include "platform/linux/wic/PbgraSource.h"

namespace Vimbrel {

template <class List>
class FrameSource : public PbgraSource<List> {
public:
    explicit FrameSource(FfmpegPtr<AVFrame> frame) : frame_(std::move(frame)) {}

    UINT Width() const override { return static_cast<UINT>(frame_->width); }
    UINT Height() const override { return static_cast<UINT>(frame_->height); }
    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                        std::uint8_t* pixels, std::size_t stride) override {
        return RenderFrame(*frame_, width, height, mode, pixels, stride);
    }

private:
    FfmpegPtr<AVFrame> frame_;
};

}  // namespace Vimbrel

#include "platform/linux/codec/HardwareUpload.h"

#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

HRESULT HardwareUpload::Open(AVCodecContext& context, const HardwareEncoder& hardware) {
    const std::string path = FindDevice(hardware);
    if (path.empty()) return E_FAIL;
    if (hardware.device == AV_HWDEVICE_TYPE_NONE) return S_OK;

    AVBufferRef* device = nullptr;
    if (const int error =
            av_hwdevice_ctx_create(&device, hardware.device, path.c_str(), nullptr, 0);
        error < 0) {
        return ResultFromFfmpeg(error, "av_hwdevice_ctx_create", FfmpegUse::encode);
    }
    device_.reset(device);
    FfmpegPtr<AVBufferRef> pool(av_hwframe_ctx_alloc(device));
    uploaded_.reset(av_frame_alloc());
    if (!pool || !uploaded_) return E_OUTOFMEMORY;
    auto& frames = *reinterpret_cast<AVHWFramesContext*>(pool->data);
    frames.format = AV_PIX_FMT_VAAPI;
    frames.sw_format = hardware.input;
    frames.width = context.width;
    frames.height = context.height;
    frames.initial_pool_size = 16;
    if (const int error = av_hwframe_ctx_init(pool.get()); error < 0) {
        return ResultFromFfmpeg(error, "av_hwframe_ctx_init", FfmpegUse::encode);
    }
    context.pix_fmt = frames.format;
    context.hw_frames_ctx = pool.release();
    return S_OK;
}

HRESULT HardwareUpload::Upload(const AVCodecContext& context, AVFrame*& frame) {
    if (!device_) return S_OK;
    av_frame_unref(uploaded_.get());
    int error = av_hwframe_get_buffer(context.hw_frames_ctx, uploaded_.get(), 0);
    if (error >= 0) error = av_hwframe_transfer_data(uploaded_.get(), frame, 0);
    if (error < 0) return ResultFromFfmpeg(error, "av_hwframe_transfer_data", FfmpegUse::encode);
    frame = uploaded_.get();
    return S_OK;
}

}  // namespace Vimbrel

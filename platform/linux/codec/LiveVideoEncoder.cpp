#include "platform/linux/codec/LiveVideoEncoder.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <string>

#include "pixel/BgraToYuv.h"
#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {
namespace {

const char* ProfileName(UINT profile) {
    switch (profile) {
        case FF_PROFILE_H264_BASELINE:
            return "baseline";
        case FF_PROFILE_H264_HIGH:
            return "high";
        default:
            return "main";
    }
}

// From 100 percent, at which the loss is hard to see, to 50 percent, at which it is not.
int RateFactor(UINT percent) {
    constexpr int best = 18;
    return best + static_cast<int>(100 - std::min(percent, 100U)) / 4;
}

// One slice and one thread: more threads mean either slices or a frame of delay each. No lookahead,
// no frames out of order, and key frames only where they were asked for.
std::string LibX264Options(const LiveVideoSettings& settings) {
    std::string options =
        "bframes=0:rc-lookahead=0:sync-lookahead=0:mbtree=0:force-cfr=1:sliced-threads=0:slices=1:"
        "threads=1:scenecut=0:repeat-headers=1:"
        "annexb=1";
    if (settings.level != 0) options += ":level=" + std::to_string(settings.level);
    return options;
}

}  // namespace

HRESULT LiveVideoEncoder::Open(const LiveVideoSettings& settings, const HardwareEncoder* hardware) {
    if (settings.width == 0 || settings.height == 0 || settings.width % 2 != 0 ||
        settings.height % 2 != 0)
        return E_INVALIDARG;
    if (settings.fps_num == 0 || settings.fps_den == 0 || settings.bit_rate == 0 ||
        settings.bit_rate > INT_MAX)
        return E_INVALIDARG;
    const AVCodec* codec = avcodec_find_encoder_by_name(hardware ? hardware->codec : "libx264");
    if (!codec)
        return ResultFromFfmpeg(AVERROR_ENCODER_NOT_FOUND, "avcodec_find_encoder_by_name",
                                FfmpegUse::encode);
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    context_.reset(avcodec_alloc_context3(codec));
    if (!packet_ || !frame_ || !context_) return E_OUTOFMEMORY;
    frames_ = 0;

    AVCodecContext& context = *context_;
    context.log_level_offset = quiet_log_offset;
    context.width = static_cast<int>(settings.width);
    context.height = static_cast<int>(settings.height);
    context.pix_fmt = hardware ? hardware->input : AV_PIX_FMT_NV12;
    context.framerate = {static_cast<int>(settings.fps_num), static_cast<int>(settings.fps_den)};
    context.time_base = {context.framerate.den, context.framerate.num};
    context.sample_aspect_ratio = {1, 1};
    context.color_range = AVCOL_RANGE_MPEG;
    context.colorspace = MatrixForSize(settings.width, settings.height) == YuvMatrix::bt709
                             ? AVCOL_SPC_BT709
                             : AVCOL_SPC_SMPTE170M;
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.max_b_frames = 0;
    context.thread_count = 1;
    context.slices = 1;
    if (settings.key_interval != 0) context.gop_size = static_cast<int>(settings.key_interval);
    context.profile = static_cast<int>(settings.profile);
    av_opt_set(context.priv_data, "profile", ProfileName(settings.profile), 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    // libx264 counts in thousands, and would have none for the smallest pictures.
    const std::int64_t bit_rate = std::max(settings.bit_rate, 1000U);
    // The rate is a limit over two seconds, whatever the quality would take.
    context.rc_max_rate = bit_rate;
    context.rc_buffer_size = static_cast<int>(std::min<std::int64_t>(bit_rate * 2, INT_MAX));
    if (hardware) {
        context.bit_rate = bit_rate;
        if (settings.level != 0) context.level = static_cast<int>(settings.level);
        if (const HRESULT hr = upload_.Open(context, *hardware); FAILED(hr)) return hr;
    } else {
        if (settings.quality_percent != 0) {
            av_opt_set_int(context.priv_data, "crf", RateFactor(settings.quality_percent), 0);
        } else {
            context.bit_rate = bit_rate;
        }
        av_opt_set(context.priv_data, "preset", "veryfast", 0);
        av_opt_set(context.priv_data, "x264-params", LibX264Options(settings).c_str(), 0);
    }
    const int error = avcodec_open2(&context, codec, nullptr);
    return error < 0 ? ResultFromFfmpeg(error, codec->name, FfmpegUse::encode) : S_OK;
}

// On the caller's bytes if the encoder takes them as they are.
AVFrame* LiveVideoEncoder::Fill(const std::uint8_t* nv12) {
    av_frame_unref(frame_.get());
    frame_->width = context_->width;
    frame_->height = context_->height;
    const bool interleaved = context_->pix_fmt != AV_PIX_FMT_YUV420P;
    frame_->format = interleaved ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    const std::ptrdiff_t width = context_->width;
    const std::ptrdiff_t height = context_->height;
    auto* const luma = const_cast<std::uint8_t*>(nv12);
    if (interleaved) {
        const auto size = static_cast<std::size_t>(width * height / 2 * 3);
        // Owned by nobody, or the frame would be copied on its way. libx264 has its own copy when
        // it returns.
        frame_->buf[0] = av_buffer_create(
            luma, size, [](void*, std::uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
        if (!frame_->buf[0]) return nullptr;
        frame_->data[0] = luma;
        frame_->data[1] = luma + width * height;
        frame_->linesize[0] = frame_->linesize[1] = context_->width;
    } else {
        if (av_frame_get_buffer(frame_.get(), 0) < 0) return nullptr;
        av_image_copy_plane(frame_->data[0], frame_->linesize[0], luma, context_->width,
                            context_->width, context_->height);
        for (std::ptrdiff_t y = 0; y < height / 2; ++y) {
            const std::uint8_t* both = luma + width * (height + y);
            for (std::ptrdiff_t x = 0; x < width / 2; ++x) {
                frame_->data[1][y * frame_->linesize[1] + x] = both[2 * x];
                frame_->data[2][y * frame_->linesize[2] + x] = both[2 * x + 1];
            }
        }
    }
    AVFrame* frame = frame_.get();
    return SUCCEEDED(upload_.Upload(*context_, frame)) ? frame : nullptr;
}

HRESULT LiveVideoEncoder::Encode(const std::uint8_t* nv12, std::vector<std::uint8_t>& access_unit,
                                 bool& key) {
    access_unit.clear();
    key = false;
    AVFrame* const frame = Fill(nv12);
    if (!frame) return E_OUTOFMEMORY;
    // Frames are counted: the application's times may stand still or leap, which rate control must
    // not see.
    frame->pts = frames_++;
    int error = avcodec_send_frame(context_.get(), frame);
    if (error < 0) return ResultFromFfmpeg(error, "avcodec_send_frame", FfmpegUse::encode);
    error = avcodec_receive_packet(context_.get(), packet_.get());
    if (error == AVERROR(EAGAIN)) return S_OK;
    if (error < 0) return ResultFromFfmpeg(error, "avcodec_receive_packet", FfmpegUse::encode);
    access_unit.assign(packet_->data, packet_->data + packet_->size);
    key = (packet_->flags & AV_PKT_FLAG_KEY) != 0;
    av_packet_unref(packet_.get());
    return S_OK;
}

}  // namespace Vimbrel

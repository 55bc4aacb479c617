#include "platform/linux/codec/H264Codec.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <climits>

#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {
namespace {

// From 100 per cent, at which the loss is hard to see, to 50 per cent, at which it shows.
int RateFactor(UINT percent) {
    constexpr int best = 18;
    return best + static_cast<int>(100 - std::min(percent, 100U)) / 4;
}

void SetOption(AVCodecContext& context, const char* name, const char* value) {
    av_opt_set(context.priv_data, name, value, 0);
}

// Each is an option of some encoders; the others do not know it.
void AskForNoDelay(AVCodecContext& context) {
    SetOption(context, "async_depth", "1");
    SetOption(context, "delay", "0");
    SetOption(context, "zerolatency", "1");
}

void SetQuality(AVCodecContext& context, const HardwareEncoder& hardware, UINT percent) {
    av_opt_set_int(&context, hardware.quality_option, RateFactor(percent), AV_OPT_SEARCH_CHILDREN);
    if (hardware.quality_mode != nullptr)
        SetOption(context, hardware.quality_mode_option, hardware.quality_mode);
}

}  // namespace

const char* H264ProfileName(UINT profile) {
    switch (profile) {
        case FF_PROFILE_H264_BASELINE:
            return "baseline";
        case FF_PROFILE_H264_MAIN:
            return "main";
        case FF_PROFILE_H264_HIGH:
            return "high";
        default:
            return nullptr;
    }
}

HRESULT H264Codec::Open(const H264Settings& settings, const HardwareEncoder* hardware) {
    UINT quality = settings.quality_percent;
    if (hardware != nullptr && hardware->quality_option == nullptr) quality = 0;
    const HRESULT hr = OpenOnce(settings, hardware, quality);
    if (SUCCEEDED(hr) || hardware == nullptr || quality == 0) return hr;
    return OpenOnce(settings, hardware, 0);
}

HRESULT H264Codec::OpenOnce(const H264Settings& settings, const HardwareEncoder* hardware,
                            UINT quality_percent) {
    const AVCodec* codec = avcodec_find_encoder_by_name(hardware ? hardware->codec : "libx264");
    if (!codec)
        return ResultFromFfmpeg(AVERROR_ENCODER_NOT_FOUND, "avcodec_find_encoder_by_name",
                                FfmpegUse::encode);
    packet_.reset(av_packet_alloc());
    context_.reset(avcodec_alloc_context3(codec));
    if (!packet_ || !context_) return E_OUTOFMEMORY;
    input_ = hardware ? hardware->input : settings.software_format;
    SetPicture(settings);
    if (const HRESULT hr = SetRate(settings, hardware, quality_percent); FAILED(hr)) return hr;
    const int error = avcodec_open2(context_.get(), codec, nullptr);
    return error < 0 ? ResultFromFfmpeg(error, codec->name, FfmpegUse::encode) : S_OK;
}

void H264Codec::SetPicture(const H264Settings& settings) {
    AVCodecContext& context = *context_;
    context.log_level_offset = quiet_log_offset;
    context.width = static_cast<int>(settings.width);
    context.height = static_cast<int>(settings.height);
    context.pix_fmt = input_;
    context.framerate = {static_cast<int>(settings.fps_num), static_cast<int>(settings.fps_den)};
    context.time_base = settings.time_base;
    context.sample_aspect_ratio = {1, 1};
    context.color_range = AVCOL_RANGE_MPEG;
    context.colorspace =
        settings.matrix == YuvMatrix::bt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.chroma_sample_location = AVCHROMA_LOC_CENTER;
    if (settings.key_interval != 0) context.gop_size = static_cast<int>(settings.key_interval);
    if (settings.parameter_sets_apart) context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context.profile = static_cast<int>(settings.profile);
    if (const char* name = H264ProfileName(settings.profile)) SetOption(context, "profile", name);
    SetOption(context, "forced-idr", "1");
}

HRESULT H264Codec::SetRate(const H264Settings& settings, const HardwareEncoder* hardware,
                           UINT quality_percent) {
    AVCodecContext& context = *context_;
    // libx264 counts in thousands and takes 0 for no rate at all.
    const std::int64_t bit_rate = std::max(settings.bit_rate, 1000U);
    if (settings.without_delay) {
        context.rc_max_rate = bit_rate;
        context.rc_buffer_size = static_cast<int>(std::min<std::int64_t>(bit_rate * 2, INT_MAX));
        context.max_b_frames = 0;
        // Further threads mean either slices or a frame of delay each.
        context.thread_count = 1;
        context.slices = 1;
    }
    if (hardware == nullptr) {
        if (quality_percent != 0) {
            av_opt_set_int(context.priv_data, "crf", RateFactor(quality_percent), 0);
        } else {
            context.bit_rate = bit_rate;
        }
        SetOption(context, "preset", "veryfast");
        SetOption(context, "x264-params", settings.x264_options.c_str());
        return S_OK;
    }
    context.bit_rate = bit_rate;
    // Not all hardware can reorder frames.
    context.max_b_frames = 0;
    if (settings.level != 0) context.level = static_cast<int>(settings.level);
    if (settings.without_delay) AskForNoDelay(context);
    if (quality_percent != 0) SetQuality(context, *hardware, quality_percent);
    return upload_.Open(context, *hardware);
}

HRESULT H264Codec::Send(AVFrame* frame) {
    if (frame != nullptr) {
        const std::int64_t time = frame->pts;
        const std::int64_t duration = frame->pkt_duration;
        const AVPictureType type = frame->pict_type;
        if (const HRESULT hr = upload_.Upload(*context_, frame); FAILED(hr)) return hr;
        frame->pts = time;
        frame->pkt_duration = duration;
        frame->pict_type = type;
    }
    const int error = avcodec_send_frame(context_.get(), frame);
    return error < 0 ? ResultFromFfmpeg(error, "avcodec_send_frame", FfmpegUse::encode) : S_OK;
}

HRESULT H264Codec::Receive(const AVPacket*& packet) {
    packet = nullptr;
    const int error = avcodec_receive_packet(context_.get(), packet_.get());
    if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) return S_OK;
    if (error < 0) return ResultFromFfmpeg(error, "avcodec_receive_packet", FfmpegUse::encode);
    packet = packet_.get();
    return S_OK;
}

}  // namespace Vimbrel

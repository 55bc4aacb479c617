#include "platform/linux/codec/VideoEncoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <numeric>
#include <string>
#include <thread>

#include "platform/linux/codec/H264Stream.h"
#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

namespace {

// Fine enough that rounding a stamp is harmless, and coarse enough that a pause of an hour fits the
// 32 bits of an interval.
constexpr unsigned finest_timescale = 180000;
constexpr unsigned coarsest_timescale = 90000;

// A multiple of the frame rate's numerator where that is possible, so that regular frames have
// regular times.
int TimescaleFor(const VideoOutput& output) {
    const unsigned num = output.fps_num / std::gcd(output.fps_num, output.fps_den);
    if (num > finest_timescale) return coarsest_timescale;
    return static_cast<int>((coarsest_timescale + num - 1) / num * num);
}

const char* ProfileName(UINT profile) {
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

// libx264 holds frames back, in its lookahead and one for each further thread. All of them would be
// lost with a recording that is cut off, so they are to be no more than a second's.
std::string LibX264Delay(const VideoOutput& output) {
    const unsigned budget = std::max(output.fps_num / output.fps_den, 1u);
    const unsigned wanted_threads =
        std::clamp(std::thread::hardware_concurrency() * 3 / 2, 1u, 16u);
    constexpr unsigned least_for_lookahead = 12;
    if (budget < least_for_lookahead) {
        return "bframes=0:rc-lookahead=0:sync-lookahead=0:sliced-threads=1:threads=" +
               std::to_string(wanted_threads);
    }
    constexpr unsigned sync_lookahead = 4;
    constexpr unsigned best_lookahead = 10;
    const unsigned left = budget - sync_lookahead - 1;
    const unsigned lookahead = std::clamp(left - 2, 3u, best_lookahead);
    const unsigned threads = std::min(wanted_threads, left - lookahead + 1);
    return "rc-lookahead=" + std::to_string(lookahead) +
           ":sync-lookahead=" + std::to_string(sync_lookahead) +
           ":threads=" + std::to_string(threads);
}

}  // namespace

HRESULT VideoEncoder::Open(const VideoInput& input, const VideoOutput& output,
                           std::span<const HardwareEncoder> hardware,
                           std::unique_ptr<VideoEncoder>& result) {
    if (input.width == 0 || input.height == 0 || output.width == 0 || output.height == 0)
        return E_INVALIDARG;
    constexpr UINT largest = 16384;
    if (std::max({input.width, input.height, output.width, output.height}) > largest)
        return E_INVALIDARG;
    // Four pixels share their chroma.
    if (output.width % 2 != 0 || output.height % 2 != 0) return E_INVALIDARG;
    if (input.fps_num == 0 || input.fps_den == 0 || output.fps_num == 0 || output.fps_den == 0)
        return E_INVALIDARG;
    constexpr std::uint64_t highest_rate = 1000;
    if (output.fps_num > output.fps_den * highest_rate || output.fps_num > INT_MAX ||
        output.fps_den > INT_MAX)
        return E_INVALIDARG;
    if (output.bit_rate == 0 || output.bit_rate > INT_MAX || !ProfileName(output.profile))
        return E_INVALIDARG;

    for (const HardwareEncoder& each : hardware) {
        // Once to see whether it works, and to get parameter sets that come with a frame only.
        std::unique_ptr<VideoEncoder> probe(new VideoEncoder);
        if (FAILED(probe->Setup(input, output, &each)) || FAILED(probe->Probe(input))) continue;
        std::unique_ptr<VideoEncoder> encoder(new VideoEncoder);
        if (FAILED(encoder->Setup(input, output, &each))) continue;
        if (encoder->configuration_.empty())
            encoder->configuration_ = std::move(probe->configuration_);
        if (encoder->configuration_.empty()) continue;
        result = std::move(encoder);
        return S_OK;
    }
    std::unique_ptr<VideoEncoder> encoder(new VideoEncoder);
    if (const HRESULT hr = encoder->Setup(input, output, nullptr); FAILED(hr)) return hr;
    if (encoder->configuration_.empty()) return E_FAIL;
    result = std::move(encoder);
    return S_OK;
}

HRESULT VideoEncoder::Setup(const VideoInput& input, const VideoOutput& output,
                            const HardwareEncoder* hardware) {
    const AVCodec* codec = avcodec_find_encoder_by_name(hardware ? hardware->codec : "libx264");
    if (!codec)
        return ResultFromFfmpeg(AVERROR_ENCODER_NOT_FOUND, "avcodec_find_encoder_by_name",
                                FfmpegUse::encode);
    packet_.reset(av_packet_alloc());
    context_.reset(avcodec_alloc_context3(codec));
    if (!packet_ || !context_) return E_OUTOFMEMORY;

    const AVPixelFormat format = hardware ? hardware->input : AV_PIX_FMT_YUV420P;
    if (const HRESULT hr =
            converter_.Open(input.width, input.height, output.width, output.height, format);
        FAILED(hr))
        return hr;

    AVCodecContext& context = *context_;
    context.log_level_offset = quiet_log_offset;
    context.width = static_cast<int>(output.width);
    context.height = static_cast<int>(output.height);
    context.pix_fmt = format;
    context.time_base = {1, TimescaleFor(output)};
    context.framerate = {static_cast<int>(output.fps_num), static_cast<int>(output.fps_den)};
    context.sample_aspect_ratio = {1, 1};
    context.color_range = AVCOL_RANGE_MPEG;
    context.colorspace = Matrix() == YuvMatrix::bt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.chroma_sample_location = AVCHROMA_LOC_CENTER;
    // libx264 counts in thousands and takes 0 for no rate at all.
    context.bit_rate = std::max<std::int64_t>(output.bit_rate, 1000);
    const double frames_between_keys =
        static_cast<double>(longest_key_interval) * output.fps_num / output.fps_den;
    context.gop_size = std::max(static_cast<int>(frames_between_keys), 1);
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context.profile = static_cast<int>(output.profile);
    av_opt_set(context.priv_data, "profile", ProfileName(output.profile), 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    if (hardware) {
        // Their files need no lookahead, and not all of them can reorder.
        context.max_b_frames = 0;
        if (const HRESULT hr = upload_.Open(context, *hardware); FAILED(hr)) return hr;
    } else {
        av_opt_set(context.priv_data, "preset", "veryfast", 0);
        av_opt_set(context.priv_data, "x264-params", LibX264Delay(output).c_str(), 0);
    }
    if (const int error = avcodec_open2(&context, codec, nullptr); error < 0) {
        return ResultFromFfmpeg(error, codec->name, FfmpegUse::encode);
    }
    if (context.extradata_size > 0) {
        configuration_ = H264Configuration(
            {context.extradata, static_cast<std::size_t>(context.extradata_size)});
    }
    return S_OK;
}

HRESULT VideoEncoder::Probe(const VideoInput& input) {
    const std::vector<std::uint8_t> black(std::size_t{input.width} * input.height * 4);
    bool encoded = false;
    const PacketSink sink = [&](const AVPacket& packet) {
        encoded = true;
        if (configuration_.empty())
            configuration_ =
                H264Configuration({packet.data, static_cast<std::size_t>(packet.size)});
        return S_OK;
    };
    HRESULT hr = Encode(black.data(), 0, Timescale(), sink);
    if (SUCCEEDED(hr)) hr = Flush(sink);
    return SUCCEEDED(hr) && !encoded ? E_FAIL : hr;
}

HRESULT VideoEncoder::Encode(const std::uint8_t* pixels, std::int64_t time, std::int64_t duration,
                             const PacketSink& sink) {
    AVFrame* frame = converter_.Convert(pixels);
    if (!frame) return E_OUTOFMEMORY;
    if (const HRESULT hr = upload_.Upload(*context_, frame); FAILED(hr)) return hr;
    frame->pts = time;
    frame->pkt_duration = duration;
    // The encoder counts frames between key frames, which tells nothing of the time if they come
    // irregularly.
    const bool key =
        !has_key_ || time - last_key_ >= std::int64_t{longest_key_interval} * Timescale();
    frame->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (key) {
        has_key_ = true;
        last_key_ = time;
    }
    return Send(frame, sink);
}

HRESULT VideoEncoder::Flush(const PacketSink& sink) { return Send(nullptr, sink); }

HRESULT VideoEncoder::Send(AVFrame* frame, const PacketSink& sink) {
    int error = avcodec_send_frame(context_.get(), frame);
    if (error < 0) return ResultFromFfmpeg(error, "avcodec_send_frame", FfmpegUse::encode);
    while ((error = avcodec_receive_packet(context_.get(), packet_.get())) >= 0) {
        if ((packet_->flags & AV_PKT_FLAG_KEY) != 0) last_key_ = std::max(last_key_, packet_->pts);
        const HRESULT hr = sink(*packet_);
        av_packet_unref(packet_.get());
        if (FAILED(hr)) return hr;
    }
    return error == AVERROR(EAGAIN) || error == AVERROR_EOF
               ? S_OK
               : ResultFromFfmpeg(error, "avcodec_receive_packet", FfmpegUse::encode);
}

}  // namespace Vimbrel

#include "platform/linux/codec/VideoEncoder.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <thread>

#include "platform/linux/codec/H264Stream.h"

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

// libx264 holds frames back: those of its lookahead, and one per further thread. A recording that
// is cut off loses them, so they are limited to a second's.
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
    if (output.bit_rate == 0 || output.bit_rate > INT_MAX || !H264ProfileName(output.profile))
        return E_INVALIDARG;

    for (const HardwareEncoder& each : hardware) {
        // The probe shows whether it works, and gets parameter sets that only come with a frame.
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
    const AVPixelFormat format = hardware ? hardware->input : AV_PIX_FMT_YUV420P;
    if (const HRESULT hr =
            converter_.Open(input.width, input.height, output.width, output.height, format);
        FAILED(hr))
        return hr;
    const double frames_between_keys =
        static_cast<double>(longest_key_interval) * output.fps_num / output.fps_den;
    const HRESULT hr =
        codec_.Open({.width = output.width,
                     .height = output.height,
                     .fps_num = output.fps_num,
                     .fps_den = output.fps_den,
                     .time_base = {1, TimescaleFor(output)},
                     .bit_rate = output.bit_rate,
                     .profile = output.profile,
                     .key_interval = std::max(static_cast<UINT>(frames_between_keys), 1U),
                     .matrix = Matrix(),
                     .software_format = format,
                     .parameter_sets_apart = true,
                     .x264_options = LibX264Delay(output)},
                    hardware);
    if (FAILED(hr)) return hr;
    const AVCodecContext& context = codec_.Context();
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
    return EncodeFrame(converter_.Convert(pixels), time, duration, sink);
}

HRESULT VideoEncoder::Repeat(std::int64_t time, std::int64_t duration, const PacketSink& sink) {
    return EncodeFrame(converter_.Last(), time, duration, sink);
}

HRESULT VideoEncoder::EncodeFrame(AVFrame* frame, std::int64_t time, std::int64_t duration,
                                  const PacketSink& sink) {
    if (!frame) return E_OUTOFMEMORY;
    frame->pts = time;
    frame->pkt_duration = duration;
    // The encoder counts frames between key frames, which says nothing about the time if they come
    // at irregular intervals.
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
    HRESULT hr = codec_.Send(frame);
    const AVPacket* packet = nullptr;
    while (SUCCEEDED(hr) && SUCCEEDED(hr = codec_.Receive(packet)) && packet != nullptr) {
        if ((packet->flags & AV_PKT_FLAG_KEY) != 0) last_key_ = std::max(last_key_, packet->pts);
        hr = sink(*packet);
    }
    return hr;
}

}  // namespace Vimbrel

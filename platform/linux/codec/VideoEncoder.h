// BGRA frames to H.264, by hardware or by libx264.
#pragma once

#include <windef.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/codec/HardwareUpload.h"
#include "platform/linux/codec/PictureConverter.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Frames are BGRA, top down, without padding; the fourth byte is ignored.
struct VideoInput {
    UINT width = 0;
    UINT height = 0;
    UINT fps_num = 0;
    UINT fps_den = 0;
};

struct VideoOutput {
    UINT width = 0;  // even, as is the height
    UINT height = 0;
    UINT fps_num = 0;
    UINT fps_den = 0;
    UINT bit_rate = 0;  // bits a second
    UINT profile = 0;   // 66 Baseline, 77 Main, 100 High
};

// Gets each packet that an encoder gives.
using PacketSink = std::function<HRESULT(const AVPacket&)>;

class VideoEncoder {
public:
    static constexpr int longest_key_interval = 2;  // seconds

    // The hardware encoders are tried in their order, and each has to encode a frame. If none does
    // it is libx264.
    static HRESULT Open(const VideoInput& input, const VideoOutput& output,
                        std::span<const HardwareEncoder> hardware,
                        std::unique_ptr<VideoEncoder>& result);

    const char* CodecName() const { return context_->codec->name; }
    // The content of the box avcC.
    const std::vector<std::uint8_t>& Configuration() const { return configuration_; }
    YuvMatrix Matrix() const { return converter_.Matrix(); }
    // Frames by which decoding is ahead of the presentation.
    int Reordering() const { return context_->has_b_frames; }
    // Ticks a second of all times below.
    int Timescale() const { return context_->time_base.den; }

    // Times rise from call to call. Packets come later than their frames, in the order of decoding.
    HRESULT Encode(const std::uint8_t* pixels, std::int64_t time, std::int64_t duration,
                   const PacketSink& sink);
    HRESULT Flush(const PacketSink& sink);

private:
    VideoEncoder() = default;
    HRESULT Setup(const VideoInput& input, const VideoOutput& output,
                  const HardwareEncoder* hardware);
    HRESULT Probe(const VideoInput& input);
    HRESULT Send(AVFrame* frame, const PacketSink& sink);

    FfmpegPtr<AVCodecContext> context_;
    FfmpegPtr<AVPacket> packet_;
    HardwareUpload upload_;
    PictureConverter converter_;
    std::vector<std::uint8_t> configuration_;
    bool has_key_ = false;
    std::int64_t last_key_ = 0;
};

}  // namespace Vimbrel

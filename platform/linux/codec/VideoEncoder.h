// BGRA frames to H.264, by hardware or by libx264.
#pragma once

#include <windef.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "platform/linux/codec/H264Codec.h"
#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/codec/PictureConverter.h"

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
    UINT bit_rate = 0;  // bits per second
    UINT profile = 0;   // 66 Baseline, 77 Main, 100 High
};

// Called with each packet of an encoder.
using PacketSink = std::function<HRESULT(const AVPacket&)>;

class VideoEncoder {
public:
    static constexpr int longest_key_interval = 2;  // seconds

    // Tries the hardware encoders in their order: each has to encode a frame. Opens libx264 if none
    // does.
    static HRESULT Open(const VideoInput& input, const VideoOutput& output,
                        std::span<const HardwareEncoder> hardware,
                        std::unique_ptr<VideoEncoder>& result);

    const char* CodecName() const { return codec_.Context().codec->name; }
    // The content of the box avcC.
    const std::vector<std::uint8_t>& Configuration() const { return configuration_; }
    YuvMatrix Matrix() const { return converter_.Matrix(); }
    // Frames by which decoding is ahead of the presentation.
    int Reordering() const { return codec_.Context().has_b_frames; }
    // Ticks per second of all times below.
    int Timescale() const { return codec_.Context().time_base.den; }

    // Times rise from call to call. Packets come later than their frames, in the order of decoding.
    HRESULT Encode(const std::uint8_t* pixels, std::int64_t time, std::int64_t duration,
                   const PacketSink& sink);
    // The last picture once more.
    HRESULT Repeat(std::int64_t time, std::int64_t duration, const PacketSink& sink);
    HRESULT Flush(const PacketSink& sink);

private:
    VideoEncoder() = default;
    HRESULT Setup(const VideoInput& input, const VideoOutput& output,
                  const HardwareEncoder* hardware);
    HRESULT Probe(const VideoInput& input);
    HRESULT EncodeFrame(AVFrame* frame, std::int64_t time, std::int64_t duration,
                        const PacketSink& sink);
    HRESULT Send(AVFrame* frame, const PacketSink& sink);

    H264Codec codec_;
    PictureConverter converter_;
    std::vector<std::uint8_t> configuration_;
    bool has_key_ = false;
    std::int64_t last_key_ = 0;
};

}  // namespace Vimbrel

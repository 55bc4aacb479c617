// Opens H.264 encoders of libavcodec, software and hardware, and passes frames through them.
#pragma once

#include <windef.h>

#include <string>

#include "pixel/BgraToYuv.h"
#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/codec/HardwareUpload.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

struct H264Settings {
    UINT width = 0;  // even, as is the height
    UINT height = 0;
    UINT fps_num = 0;
    UINT fps_den = 0;
    AVRational time_base = {0, 1};  // of the frames' times
    UINT bit_rate = 0;              // bits per second
    UINT profile = 77;              // 66 Baseline, 77 Main, 100 High
    UINT level = 0;                 // times ten; 0 for the lowest that does
    UINT key_interval = 0;          // frames; 0 for the encoder's own
    YuvMatrix matrix = YuvMatrix::bt709;
    AVPixelFormat software_format = AV_PIX_FMT_NONE;  // that libx264 gets
    // 1 to 100 for a quality that is held as long as the bit rate allows; 0 for the bit rate alone.
    UINT quality_percent = 0;
    // Each frame's packet comes before the next frame goes in, and the bit rate is a limit over two
    // seconds.
    bool without_delay = false;
    // Parameter sets are in the context's extradata, and not in the packets.
    bool parameter_sets_apart = false;
    std::string x264_options;
};

// Of an H.264 profile that the encoders have; null for others.
const char* H264ProfileName(UINT profile);

class H264Codec {
public:
    // `hardware` may be null for libx264. An encoder that refuses its mode for a held quality is
    // opened for the bit rate alone.
    HRESULT Open(const H264Settings& settings, const HardwareEncoder* hardware);

    const AVCodecContext& Context() const { return *context_; }
    // The format of the frames that Send takes.
    AVPixelFormat InputFormat() const { return input_; }

    // A null frame ends the stream.
    HRESULT Send(AVFrame* frame);
    // The next packet, good until the next call; null with S_OK if there is none for now.
    HRESULT Receive(const AVPacket*& packet);

private:
    HRESULT OpenOnce(const H264Settings& settings, const HardwareEncoder* hardware,
                     UINT quality_percent);
    void SetPicture(const H264Settings& settings);
    HRESULT SetRate(const H264Settings& settings, const HardwareEncoder* hardware,
                    UINT quality_percent);

    FfmpegPtr<AVCodecContext> context_;
    FfmpegPtr<AVPacket> packet_;
    AVPixelFormat input_ = AV_PIX_FMT_NONE;
    HardwareUpload upload_;
};

}  // namespace Vimbrel

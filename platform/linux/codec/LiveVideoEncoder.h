// NV12 frames to H.264 without delay: a frame in, its access unit out.
#pragma once

#include <windef.h>

#include <cstdint>
#include <vector>

#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/codec/HardwareUpload.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

struct LiveVideoSettings {
    UINT width = 0;  // even, as is the height
    UINT height = 0;
    UINT fps_num = 0;
    UINT fps_den = 0;
    UINT bit_rate = 0;         // bits a second
    UINT profile = 77;         // 66 Baseline, 77 Main, 100 High
    UINT level = 0;            // tenfold, 0 for the least that does
    UINT key_interval = 0;     // frames, 0 for the encoder's own
    UINT quality_percent = 0;  // 1 to 100 for a quality that is held as long as the bit rate
                               // allows; 0 for the bit rate alone
};

// Access units have start codes, no frame out of order, and one slice each; key frames have their
// parameter sets in front.
class LiveVideoEncoder {
public:
    // `hardware` may be null for libx264.
    HRESULT Open(const LiveVideoSettings& settings, const HardwareEncoder* hardware);

    // The access unit of the frame, in `access_unit`. Empty, with success, if the encoder held the
    // frame back.
    HRESULT Encode(const std::uint8_t* nv12, std::vector<std::uint8_t>& access_unit, bool& key);

private:
    AVFrame* Fill(const std::uint8_t* nv12);

    FfmpegPtr<AVCodecContext> context_;
    FfmpegPtr<AVPacket> packet_;
    FfmpegPtr<AVFrame> frame_;
    HardwareUpload upload_;
    std::int64_t frames_ = 0;
};

}  // namespace Vimbrel

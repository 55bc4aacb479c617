// NV12 frames to H.264 without delay: a frame in, its access unit out.
#pragma once

#include <windef.h>

#include <cstdint>
#include <span>

#include "platform/linux/codec/H264Codec.h"

namespace Vimbrel {

struct LiveVideoSettings {
    UINT width = 0;  // even, as is the height
    UINT height = 0;
    UINT fps_num = 0;
    UINT fps_den = 0;
    UINT bit_rate = 0;         // bits per second
    UINT profile = 77;         // 66 Baseline, 77 Main, 100 High
    UINT level = 0;            // times ten; 0 for the lowest that does
    UINT key_interval = 0;     // frames; 0 for the encoder's own
    UINT quality_percent = 0;  // 1 to 100 for a quality that is held as long as the bit rate
                               // allows; 0 for the bit rate alone
};

// Access units have start codes, no frame out of order, and one slice each; key frames start with
// their parameter sets.
class LiveVideoEncoder {
public:
    // `hardware` may be null for libx264.
    HRESULT Open(const LiveVideoSettings& settings, const HardwareEncoder* hardware);

    // Drops the last access unit, and encodes the frame. Hardware may hold a frame back: there is
    // no access unit then, and from the next frame on each comes one late.
    HRESULT Encode(const std::uint8_t* nv12);
    // Empty if there is none. Good until the next call of another operation.
    std::span<const std::uint8_t> AccessUnit() const;
    bool IsKey() const { return packet_ != nullptr && (packet_->flags & AV_PKT_FLAG_KEY) != 0; }
    void DropAccessUnit() { packet_ = nullptr; }

private:
    bool FillInterleaved(std::uint8_t* nv12);
    bool FillPlanes(const std::uint8_t* nv12);

    H264Codec codec_;
    const AVPacket* packet_ = nullptr;  // the codec's
    FfmpegPtr<AVFrame> frame_;
    std::int64_t frames_ = 0;
};

}  // namespace Vimbrel

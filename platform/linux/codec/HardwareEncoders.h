// The H.264 encoders of graphics and video hardware that libavcodec knows.
#pragma once

// FFmpeg needs its macros.
#include <cstdint>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/pixfmt.h>
}

#include <span>
#include <string>

namespace Vimbrel {

struct HardwareEncoder {
    const char* codec;
    const char*
        devices;  // a pattern of device files, without one of which there is no such hardware
    AVHWDeviceType device;  // where frames are to be copied to before; none for encoders that take
                            // them from memory
    AVPixelFormat input;    // planar or semi-planar 4:2:0
};

// In the order in which they are tried.
std::span<const HardwareEncoder> HardwareEncoders();

// The first device file that may be used; empty if there is none. The encoders' own search would
// take long and tell of it on standard error.
std::string FindDevice(const HardwareEncoder& encoder);

}  // namespace Vimbrel

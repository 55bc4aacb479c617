// The hardware H.264 encoders of libavcodec.
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
    // A pattern of device files. Without one of them there is no such hardware.
    const char* devices;
    // The kind of device to which frames are copied first; none for encoders that take them from
    // memory.
    AVHWDeviceType device;
    AVPixelFormat input;  // planar or semi-planar 4:2:0
    // The option for a quality on libx264's scale, and the mode of rate control in which a bit rate
    // limits it. Null for an encoder without one.
    const char* quality_option = nullptr;
    const char* quality_mode_option = nullptr;
    const char* quality_mode = nullptr;
};

// In the order in which they are tried.
std::span<const HardwareEncoder> HardwareEncoders();

// The first device file that may be used; empty if there is none. The encoders' own search takes
// long and writes to the standard error.
std::string FindDevice(const HardwareEncoder& encoder);

}  // namespace Vimbrel

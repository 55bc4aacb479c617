// A video capture device as the capture filter sees it; tests put another in its place.
#pragma once

#include <winerror.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vimbrel {

struct V4l2Format {
    std::uint32_t pixel_format = 0;  // of the driver's list of them
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int64_t frame_time = 0;  // in units of 100 nanoseconds; 0 if the driver does not tell

    bool operator==(const V4l2Format&) const = default;
};

// A format that is set, and how its pictures lie in memory.
struct V4l2Layout {
    V4l2Format format;
    std::uint32_t bytes_per_line = 0;
    std::uint32_t image_size = 0;  // the largest, of a compressed format
};

// A picture in the driver's memory.
struct V4l2Picture {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::int64_t time = 0;  // of the monotonic clock, in units of 100 nanoseconds
    std::uint32_t sequence = 0;
    bool damaged = false;  // by the driver's own word
    std::uint32_t buffer = 0;
};

// For one thread at a time, but for Wake.
class V4l2Device {
public:
    virtual ~V4l2Device() = default;

    // In the driver's order, whatever their pixels.
    virtual std::vector<V4l2Format> Formats() = 0;
    virtual HRESULT GetCurrent(V4l2Layout& layout) = 0;
    // While it does not stream. E_INVALIDARG if the driver sets something else.
    virtual HRESULT SetFormat(const V4l2Format& format) = 0;
    // Streams from now on; pictures are those after this call.
    virtual HRESULT Start() = 0;
    // Waits for a picture, which is the caller's until Return. S_FALSE: woken; a failure: the
    // device is gone, or brought nothing for 10 seconds (HRESULT_FROM_WIN32(ERROR_TIMEOUT)).
    virtual HRESULT Wait(V4l2Picture& picture) = 0;
    virtual void Return(const V4l2Picture& picture) = 0;
    virtual void Stop() = 0;
    // Ends the wait that is under way, and all later ones until the next Start. Any thread.
    virtual void Wake() = 0;
};

}  // namespace Vimbrel

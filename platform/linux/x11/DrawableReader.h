// Reading rectangles of windows and pixmaps.
#pragma once

#include <memory>

#include "platform/linux/x11/PixelBuffer.h"
#include "platform/linux/x11/XReply.h"

namespace Vimbrel {

struct XRectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class DrawableReader {
public:
    // What becomes of the alpha byte of pixels without alpha.
    enum class Alpha : std::uint8_t { Clear = 0, Any = 1, Opaque = 255 };

    explicit DrawableReader(std::shared_ptr<XConnection> connection)
        : connection_(std::move(connection)) {}

    // Copies `area`, which must lie within the drawable and on the screen, to (x, y) of the target,
    // where it must fit. False if it cannot be read; the log says why at trace level.
    bool Read(xcb_drawable_t drawable, const XPixelFormat& format, const XRectangle& area,
              Alpha alpha, PixelBuffer& target, int x, int y);

private:
    bool ReadInPlace(xcb_drawable_t drawable, const XRectangle& area, PixelBuffer& target, int y);
    // The pixels in the server's format; null if they cannot be read. Valid until the next call.
    const std::uint8_t* Fetch(xcb_drawable_t drawable, const XPixelFormat& format,
                              const XRectangle& area);
    bool GetShared(xcb_drawable_t drawable, const XRectangle& area, xcb_shm_seg_t segment,
                   std::size_t offset);

    std::shared_ptr<XConnection> connection_;
    std::unique_ptr<SharedMemory> scratch_;
    XReply<xcb_get_image_reply_t> image_;
};

}  // namespace Vimbrel

#include "platform/linux/x11/DrawableReader.h"

#include <cstring>

#include "pixel/PixelOperations.h"

namespace Vimbrel {

namespace {

constexpr std::uint32_t all_planes = 0xFFFFFFFF;

}  // namespace

bool DrawableReader::Read(xcb_drawable_t drawable, const XPixelFormat& format,
                          const XRectangle& area, Alpha alpha, PixelBuffer& target, int x, int y) {
    if (!format.Usable()) return false;
    const bool whole_rows = x == 0 && area.width == target.Width();
    const bool shared = target.Shared() && &target.Shared()->Connection() == connection_.get();
    if (format.IsBgra() && whole_rows && shared) {
        if (!ReadInPlace(drawable, area, target, y)) return false;
    } else {
        const std::uint8_t* pixels = Fetch(drawable, format, area);
        if (!pixels) return false;
        const std::size_t row_bytes = format.RowBytes(area.width);
        if (format.IsBgra()) {
            for (int row = 0; row < area.height; ++row) {
                std::memcpy(target.At(x, y + row),
                            pixels + static_cast<std::size_t>(row) * row_bytes,
                            static_cast<std::size_t>(area.width) * 4);
            }
        } else {
            format.Convert(pixels, row_bytes, target.At(x, y), target.Stride(), area.width,
                           area.height);
        }
        image_.reset();
    }
    if (!format.has_alpha && alpha != Alpha::Any) {
        FillAlpha(static_cast<std::uint8_t>(alpha), target.At(x, y) + 3,
                  static_cast<std::int32_t>(target.Stride()), {area.width, area.height});
    }
    return true;
}

bool DrawableReader::ReadInPlace(xcb_drawable_t drawable, const XRectangle& area,
                                 PixelBuffer& target, int y) {
    return GetShared(drawable, area, target.Shared()->Segment(),
                     static_cast<std::size_t>(y) * target.Stride());
}

const std::uint8_t* DrawableReader::Fetch(xcb_drawable_t drawable, const XPixelFormat& format,
                                          const XRectangle& area) {
    const std::size_t size = format.RowBytes(area.width) * static_cast<std::size_t>(area.height);
    if (connection_->HasSharedMemory()) {
        if (!scratch_ || scratch_->Size() < size) scratch_ = SharedMemory::Make(connection_, size);
        if (scratch_)
            return GetShared(drawable, area, scratch_->Segment(), 0) ? scratch_->Bytes() : nullptr;
    }
    xcb_connection_t* const c = connection_->Get();
    const auto cookie =
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, static_cast<std::int16_t>(area.x),
                      static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), all_planes);
    xcb_generic_error_t* error = nullptr;
    image_.reset(xcb_get_image_reply(c, cookie, &error));
    if (!XConnection::Succeeded(error, "read pixels") || !image_) return nullptr;
    if (static_cast<std::size_t>(xcb_get_image_data_length(image_.get())) < size) return nullptr;
    return xcb_get_image_data(image_.get());
}

bool DrawableReader::GetShared(xcb_drawable_t drawable, const XRectangle& area,
                               xcb_shm_seg_t segment, std::size_t offset) {
    xcb_connection_t* const c = connection_->Get();
    const auto cookie = xcb_shm_get_image(
        c, drawable, static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
        static_cast<std::uint16_t>(area.width), static_cast<std::uint16_t>(area.height), all_planes,
        XCB_IMAGE_FORMAT_Z_PIXMAP, segment, static_cast<std::uint32_t>(offset));
    xcb_generic_error_t* error = nullptr;
    const XReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(c, cookie, &error));
    return XConnection::Succeeded(error, "read pixels") && reply;
}

}  // namespace Vimbrel

#include "platform/linux/screen/LinuxGdiPlus.h"

#include <array>

#include "platform/linux/screen/Blend.h"

namespace Vimbrel {

namespace {

constexpr int ok = 0;
constexpr int invalid_parameter = 2;
constexpr int out_of_memory = 3;
constexpr UINT known_version = 1;

// A pointer is drawn with two pictures at a time, on the thread that captures. They are kept in a
// few places of their own, since drawing shall not allocate.
struct Place {
    BlendPicture picture;
    bool taken = false;
};
thread_local std::array<Place, 8> places;

Place* FromImage(GdiPlus::Image* image) { return reinterpret_cast<Place*>(image); }

}  // namespace

int LinuxGdiPlus::GdiplusStartup(ULONG_PTR* token, UINT version) {
    if (!token || version != known_version) return invalid_parameter;
    *token = 1;
    return ok;
}

void LinuxGdiPlus::GdiplusShutdown(ULONG_PTR) {}

int LinuxGdiPlus::GdipCreateBitmapFromScan0(INT width, INT height, INT stride, INT format,
                                            BYTE* pixels, Image** image) {
    *image = nullptr;
    if (!pixels || width <= 0 || height <= 0 || stride < width * 4 ||
        format != pixel_format_32bpp_argb)
        return invalid_parameter;
    for (Place& place : places) {
        if (place.taken) continue;
        place = {{pixels, width, height, static_cast<std::size_t>(stride)}, true};
        *image = reinterpret_cast<Image*>(&place);
        return ok;
    }
    return out_of_memory;
}

// A picture is its own context: there is nothing to set.
int LinuxGdiPlus::GdipGetImageGraphicsContext(Image* image, Graphics** graphics) {
    *graphics = reinterpret_cast<Graphics*>(image);
    return image ? ok : invalid_parameter;
}

int LinuxGdiPlus::GdipDrawImageI(Graphics* graphics, Image* image, INT x, INT y) {
    if (!graphics || !image) return invalid_parameter;
    BlendOver(reinterpret_cast<Place*>(graphics)->picture, FromImage(image)->picture, x, y,
              BlendAlpha::Combine);
    return ok;
}

int LinuxGdiPlus::GdipDeleteGraphics(Graphics* graphics) {
    return graphics ? ok : invalid_parameter;
}

int LinuxGdiPlus::GdipDisposeImage(Image* image) {
    if (!image) return invalid_parameter;
    FromImage(image)->taken = false;
    return ok;
}

}  // namespace Vimbrel

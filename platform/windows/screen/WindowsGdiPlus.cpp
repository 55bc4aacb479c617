#include "platform/windows/screen/WindowsGdiPlus.h"

#include <objidl.h>

#include <algorithm>

// Its headers use these two as macros of the system's would be used.
namespace Gdiplus {
using std::max;
using std::min;
}  // namespace Gdiplus

#include <gdiplus.h>

namespace Vimbrel {

namespace {

static_assert(GdiPlus::pixel_format_32bpp_argb == PixelFormat32bppARGB);

namespace Flat = Gdiplus::DllExports;

Gdiplus::GpBitmap* ToBitmap(GdiPlus::Image* image) {
    return reinterpret_cast<Gdiplus::GpBitmap*>(image);
}
Gdiplus::GpGraphics* ToGraphics(GdiPlus::Graphics* graphics) {
    return reinterpret_cast<Gdiplus::GpGraphics*>(graphics);
}

}  // namespace

int WindowsGdiPlus::GdiplusStartup(ULONG_PTR* token, UINT version) {
    Gdiplus::GdiplusStartupInput input;
    input.GdiplusVersion = version;
    return Gdiplus::GdiplusStartup(token, &input, nullptr);
}

void WindowsGdiPlus::GdiplusShutdown(ULONG_PTR token) { Gdiplus::GdiplusShutdown(token); }

int WindowsGdiPlus::GdipCreateBitmapFromScan0(INT width, INT height, INT stride, INT format,
                                              BYTE* pixels, Image** image) {
    Gdiplus::GpBitmap* bitmap = nullptr;
    const auto status =
        Flat::GdipCreateBitmapFromScan0(width, height, stride, format, pixels, &bitmap);
    *image = status == Gdiplus::Ok ? reinterpret_cast<Image*>(bitmap) : nullptr;
    return status;
}

int WindowsGdiPlus::GdipGetImageGraphicsContext(Image* image, Graphics** graphics) {
    Gdiplus::GpGraphics* context = nullptr;
    const auto status = Flat::GdipGetImageGraphicsContext(ToBitmap(image), &context);
    *graphics = status == Gdiplus::Ok ? reinterpret_cast<Graphics*>(context) : nullptr;
    return status;
}

int WindowsGdiPlus::GdipDrawImageI(Graphics* graphics, Image* image, INT x, INT y) {
    return Flat::GdipDrawImageI(ToGraphics(graphics), ToBitmap(image), x, y);
}

int WindowsGdiPlus::GdipDeleteGraphics(Graphics* graphics) {
    return Flat::GdipDeleteGraphics(ToGraphics(graphics));
}

int WindowsGdiPlus::GdipDisposeImage(Image* image) {
    return Flat::GdipDisposeImage(ToBitmap(image));
}

}  // namespace Vimbrel

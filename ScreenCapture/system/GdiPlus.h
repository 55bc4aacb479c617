// The drawing library that blends colour pointers. The operations carry its names and do what its
// do; each result is 0 for success.
#pragma once

#include <windows.h>

namespace Vimbrel {

class GdiPlus {
public:
    struct Image;
    struct Graphics;

    // Bytes blue, green, red, alpha, not premultiplied.
    static constexpr INT pixel_format_32bpp_argb = 0x26200A;

    // `version` is 1. The token goes to GdiplusShutdown.
    virtual int GdiplusStartup(ULONG_PTR* token, UINT version) = 0;
    virtual void GdiplusShutdown(ULONG_PTR token) = 0;
    // Over pixels that stay the caller's.
    virtual int GdipCreateBitmapFromScan0(INT width, INT height, INT stride, INT format,
                                          BYTE* pixels, Image** image) = 0;
    virtual int GdipGetImageGraphicsContext(Image* image, Graphics** graphics) = 0;
    // Pixel by pixel, with alpha, cut at the target.
    virtual int GdipDrawImageI(Graphics* graphics, Image* image, INT x, INT y) = 0;
    virtual int GdipDeleteGraphics(Graphics* graphics) = 0;
    virtual int GdipDisposeImage(Image* image) = 0;

protected:
    ~GdiPlus() = default;
};

}  // namespace Vimbrel

// Blending of pointers, without a drawing library.
#pragma once

#include "ScreenCapture/system/GdiPlus.h"

namespace Vimbrel {

class LinuxGdiPlus final : public GdiPlus {
public:
    int GdiplusStartup(ULONG_PTR* token, UINT version) override;
    void GdiplusShutdown(ULONG_PTR token) override;
    int GdipCreateBitmapFromScan0(INT width, INT height, INT stride, INT format, BYTE* pixels,
                                  Image** image) override;
    int GdipGetImageGraphicsContext(Image* image, Graphics** graphics) override;
    int GdipDrawImageI(Graphics* graphics, Image* image, INT x, INT y) override;
    int GdipDeleteGraphics(Graphics* graphics) override;
    int GdipDisposeImage(Image* image) override;
};

}  // namespace Vimbrel

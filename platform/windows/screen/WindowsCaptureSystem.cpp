// The parts of screen capture that the system has.
#include "ScreenCapture/system/CaptureSystem.h"
#include "ScreenCapture/system/PublishedGraphicsSystem.h"
#include "platform/windows/screen/WindowsGdi.h"
#include "platform/windows/screen/WindowsGdiPlus.h"
#include "platform/windows/screen/WindowsWindowSystem.h"

namespace Vimbrel {

const CaptureSystem& PlatformCaptureSystem() {
    static WindowsWindowSystem windows;
    static WindowsGdi gdi;
    static WindowsGdiPlus gdiplus;
    static PublishedGraphicsSystem graphics;
    static const CaptureSystem system{windows, gdi, gdiplus, graphics};
    return system;
}

}  // namespace Vimbrel

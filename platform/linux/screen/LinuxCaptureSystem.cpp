// The parts of screen capture that this platform has.
#include "ScreenCapture/system/CaptureSystem.h"
#include "ScreenCapture/system/PublishedGraphicsSystem.h"
#include "platform/linux/screen/LinuxGdi.h"
#include "platform/linux/screen/LinuxGdiPlus.h"
#include "platform/linux/screen/LinuxWindowSystem.h"

namespace Vimbrel {

const CaptureSystem& PlatformCaptureSystem() {
    static LinuxWindowSystem windows;
    static LinuxGdi gdi;
    static LinuxGdiPlus gdiplus;
    static PublishedGraphicsSystem graphics;
    static const CaptureSystem system{windows, gdi, gdiplus, graphics};
    return system;
}

}  // namespace Vimbrel

// The parts of the system that screen capture uses; tests replace them here.
#pragma once

#include "ScreenCapture/system/Gdi.h"
#include "ScreenCapture/system/GdiPlus.h"
#include "ScreenCapture/system/GraphicsSystem.h"
#include "ScreenCapture/system/WindowSystem.h"
#include "base/Replaceable.h"

namespace Vimbrel {

struct CaptureSystem {
    WindowSystem& windows;
    Gdi& gdi;
    GdiPlus& gdiplus;
    GraphicsSystem& graphics;

    // The platform's, or those that a ScopedCaptureSystem put in its place.
    static const CaptureSystem& Current();
};

// The platform's own. Lives as long as the process.
const CaptureSystem& PlatformCaptureSystem();

// Replaces CaptureSystem::Current until it is destroyed.
using ScopedCaptureSystem = ScopedReplacement<const CaptureSystem>;

}  // namespace Vimbrel

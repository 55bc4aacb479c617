#include "ScreenCapture/system/CaptureSystem.h"

namespace Vimbrel {

const CaptureSystem& CaptureSystem::Current() {
    const CaptureSystem* const replacement = ScopedCaptureSystem::Current();
    return replacement ? *replacement : PlatformCaptureSystem();
}

}  // namespace Vimbrel

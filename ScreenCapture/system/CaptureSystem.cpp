#include "ScreenCapture/system/CaptureSystem.h"

namespace Vimbrel {

namespace {

const CaptureSystem* replacement = nullptr;

}  // namespace

const CaptureSystem& CaptureSystem::Current() {
    return replacement ? *replacement : PlatformCaptureSystem();
}

ScopedCaptureSystem::ScopedCaptureSystem(const CaptureSystem& system) : previous(replacement) {
    replacement = &system;
}
ScopedCaptureSystem::~ScopedCaptureSystem() { replacement = previous; }

}  // namespace Vimbrel

// Which version of the system this is, and how it scales windows.
#pragma once

#include <cstdint>

#include "ScreenCapture/system/Gdi.h"
#include "ScreenCapture/system/WindowSystem.h"

namespace Vimbrel {

struct OsVersion {
    std::uint16_t versionMajor = 0;
    std::uint16_t versionMinor = 0;
    std::uint16_t versionBuild = 0;
    std::uint16_t versionRevision = 0;
};

// Out of the version resource of the system's lowest library, which compatibility settings do not
// change. False, with the results untouched, if there is none.
bool GetOsVersion(WindowSystem& system, std::uint16_t& major, std::uint16_t& minor,
                  std::uint16_t& build, std::uint16_t& revision);

// The window's dots per inch as a percentage of 96.
std::int32_t DpiPercent(WindowSystem& system, Gdi& gdi, const OsVersion& version, HWND window);

}  // namespace Vimbrel

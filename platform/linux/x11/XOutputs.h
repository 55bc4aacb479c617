// The outputs of the screen.
#pragma once

#include <dxgitype.h>
#include <windef.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Vimbrel {

class XConnection;

struct XOutput {
    std::uint32_t id = 0;
    std::wstring name;
    RECT place{};
    DXGI_MODE_ROTATION rotation = DXGI_MODE_ROTATION_IDENTITY;
    bool attached = false;  // shows a part of the desktop
    bool primary = false;   // exactly one of those attached is
    std::uint32_t width_mm = 0;
};

// In the server's order, the ones that nothing is plugged into left out. Without RandR one that
// shows the whole screen. Empty once the server is gone.
std::vector<XOutput> ListOutputs(const XConnection& connection);

}  // namespace Vimbrel

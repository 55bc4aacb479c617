#include "platform/linux/screen/ScreenOutputs.h"

#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/screen/ScreenChoice.h"
#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

std::vector<XOutput> ListScreenOutputs() {
    if (IsWaylandChosen()) {
        const auto screen = CastScreen::Desktop();
        if (!screen) return {};
        const SIZE size = screen->Size();
        XOutput output;
        output.id = cast_output;
        output.name = cast_output_name;
        output.place = {0, 0, size.cx, size.cy};
        output.attached = true;
        output.primary = true;
        return {output};
    }
    const std::shared_ptr<XConnection> connection = XConnection::Shared();
    return connection ? ListOutputs(*connection) : std::vector<XOutput>();
}

}  // namespace Vimbrel

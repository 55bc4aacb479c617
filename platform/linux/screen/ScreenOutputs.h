// The outputs of the screen, whichever windowing system shows them.
#pragma once

#include <string_view>
#include <vector>

#include "platform/linux/x11/XOutputs.h"

namespace Vimbrel {

// X11: the server's. Wayland: the desktop that the user has granted; none while nobody has it
// open, since nothing is known of it then.
std::vector<XOutput> ListScreenOutputs();

// The only output that Wayland has.
constexpr std::uint32_t cast_output = 1;
constexpr std::wstring_view cast_output_name = L"Wayland";

}  // namespace Vimbrel

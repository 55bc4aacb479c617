// What there is to record, and where to play.
#pragma once

namespace studio {

// The command "devices": cameras, microphones and sound outputs, for readers or as a JSON document.
void PrintDevices(bool json);

}  // namespace studio

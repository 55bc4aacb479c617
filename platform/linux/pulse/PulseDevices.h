// The sinks and sources of a sound server at one moment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/pulse/PulseConnection.h"

namespace Vimbrel {

struct PulseDevice {
    std::string name;         // unique on its server
    std::string description;  // what users see; not unique
    std::string monitor;      // of a sink: the source that records it
    std::uint32_t rate = 0;   // frames per second
    std::uint8_t channels = 0;
};

struct PulseDevices {
    std::vector<PulseDevice> sinks;
    std::vector<PulseDevice> sources;  // without the monitors of sinks
    // Names; empty if there is none. A source that is a monitor counts as none.
    std::string default_sink;
    std::string default_source;

    HRESULT Read(PulseConnection& connection);
};

}  // namespace Vimbrel

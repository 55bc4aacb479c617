// The parts of a server's command that decide whether a stream is taken.
#pragma once

#include <optional>
#include <string>

#include "Source/cast/RtmpMessage.h"

namespace Vimbrel {

struct ServerCommand {
    std::string name;
    bool has_status = false;         // the fourth value is an object
    std::string level, description;  // texts of that object; empty if it has none

    // Reads an AMF0 body. Nothing if it is cut off or nested beyond reason.
    static std::optional<ServerCommand> Read(ByteSpan body);
};

}  // namespace Vimbrel

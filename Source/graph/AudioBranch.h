// The sound output of a file's graph and the processor in front of it.
#pragma once

#include "Source/graph/MediaSourceDSImpl.h"

namespace Vimbrel {

// The output that the owner names. False without a name, or if it cannot be added.
bool AddAudioRenderer(MediaSourceDSImpl& worker);
// Between the output and what is connected to it. After a failure the connection is as it was.
bool InsertAudioProcessor(MediaSourceDSImpl& worker);

}  // namespace Vimbrel

// The graph of a capture device: the device, what has to be between, the video sink.
#pragma once

#include "Source/graph/MediaSourceDSImpl.h"

namespace Vimbrel {

// A MediaSourceDSImpl::GraphBuilder for a MediaSourceCamera.
bool BuildDeviceGraph(MediaSourceDSImpl& worker, MediaSource& owner);

}  // namespace Vimbrel

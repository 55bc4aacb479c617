// The graph of a media file: the splitter, decoders, the video sink and the sound output.
#pragma once

#include "Source/graph/MediaSourceDSImpl.h"

namespace Vimbrel {

// A MediaSourceDSImpl::GraphBuilder for a MediaSourceDS. All filters that may be needed are put
// into the graph first, so that none from elsewhere enters; what did not connect is removed.
bool BuildFileGraph(MediaSourceDSImpl& worker, MediaSource& owner);

}  // namespace Vimbrel

// The two encoders of a cast.
#pragma once

#include "Source/cast/RtmpMetadata.h"
#include "rtmpencoder/live_encoder_aac.h"
#include "rtmpencoder/live_encoder_h264.h"

namespace Vimbrel {

struct CastEncoders {
    // False if one did not start; the other may run. They start once.
    bool Start() { return aac.start() && h264.start(); }
    // Not on an encoder's own thread.
    void Stop() {
        aac.stop();
        h264.stop();
    }
    StreamMetadata Metadata(bool with_audio) const;

    live_encoder_aac aac;
    live_encoder_h264 h264;
};

}  // namespace Vimbrel

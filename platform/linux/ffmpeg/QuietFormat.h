// Demuxers that write nothing to stderr.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

namespace Vimbrel {

// A demuxer's context has no offset of its own for the levels of its messages. A field that only
// muxers use takes its place, so that nothing of a damaged file reaches stderr.
void Silence(AVFormatContext& format);

}  // namespace Vimbrel

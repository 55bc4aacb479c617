// The key picture from which a target is decoded.
#pragma once

#include <deque>

#include "platform/linux/ds/file/Demuxer.h"

namespace Vimbrel {

// Containers without an index seek to a place after the key picture. The search looks at what comes
// there and steps back by more and more, at last to the beginning.
class KeyPictureSearch {
public:
    KeyPictureSearch(Demuxer& demuxer, int stream) : demuxer_(demuxer), stream_(stream) {}

    HRESULT Run(LONGLONG target);

private:
    // Keeps the packets from `place` on until the first key picture. False if that is after
    // `target`, or if there is none.
    bool Reaches(LONGLONG place, LONGLONG target);
    // The latest time at which a picture may be shown; AV_NOPTS_VALUE if nothing is known.
    std::int64_t ShownTime(const AVPacket& packet) const;
    bool MoveTo(LONGLONG place);

    Demuxer& demuxer_;
    const int stream_;
    int error_ = 0;
};

}  // namespace Vimbrel

// A live stream that comes back after its link was lost, each time by a new cast.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "vimbrel/Export.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {

// The waits before attempts grow by half with each that failed.
struct ReconnectingCastOptions {
    // Of every session. Its progress counts the pictures of all of them: those that were on their
    // way when the link was lost, or that came while there was none, are dropped ones.
    RTMPCastOptions cast;
    // How many attempts in a row may fail before it gives up; below 0 there is no limit.
    int attempts = -1;
    std::chrono::milliseconds first_wait{2'000};
    std::chrono::milliseconds longest_wait{60'000};
    // Called with false when the link is lost and with true when the stream stands again, on a
    // thread of the library. It may call Stop. May be empty.
    std::function<void(bool connected)> on_change;
};

// A cast as any other, with these differences:
// - Start makes the first session and does not try again if that fails.
// - The callback is called when all attempts have failed, with the status of the last one.
// - Stop ends a wait at once. It waits for an attempt that is under way as Start waits for the
//   server: up to 30 seconds for each of its replies.
// - Bit rates are those of the session, and 0 while there is none.
// An object serves one Start and Stop. Null if there is no memory.
VIMBREL_API std::unique_ptr<CMediaRTMPCast> CreateReconnectingCast(
    const ReconnectingCastOptions& options);

}  // namespace Vimbrel

#include "platform/linux/kernel/Waitable.h"

#include <windows.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace Vimbrel {

namespace {

using Clock = std::chrono::steady_clock;

// For poll: never less than what is left, so that a wait does not end early.
int PollTime(DWORD milliseconds, Clock::duration left) {
    if (milliseconds == INFINITE) return -1;
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<std::int64_t>(whole, 0, INT32_MAX));
}

}  // namespace

Waitable* Waitable::Of(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE) return nullptr;
    return static_cast<KernelObject*>(handle)->AsWaitable();
}

DWORD WaitForFirst(Waitable* const* objects, DWORD count, int descriptor, DWORD milliseconds) {
    pollfd watched[MAXIMUM_WAIT_OBJECTS];
    if (count >= MAXIMUM_WAIT_OBJECTS) return WAIT_FAILED;
    for (DWORD i = 0; i < count; ++i) {
        if (!objects[i]) return WAIT_FAILED;
        watched[i] = {objects[i]->Descriptor(), POLLIN, 0};
    }
    watched[count] = {descriptor, POLLIN, 0};
    const auto start = Clock::now();
    const auto deadline = start + std::chrono::milliseconds(milliseconds);
    // The clock is read again only after a wait that another thread or a signal ended.
    auto now = start;
    for (;; now = Clock::now()) {
        const int ready = poll(watched, count + 1, PollTime(milliseconds, deadline - now));
        if (ready < 0) {
            if (errno == EINTR) continue;
            return WAIT_FAILED;
        }
        if (ready == 0 && (milliseconds <= INT32_MAX || now >= deadline)) return WAIT_TIMEOUT;
        for (DWORD i = 0; i < count; ++i) {
            // Another thread may have taken the signal since.
            if (watched[i].revents != 0 && objects[i]->TryTake()) return WAIT_OBJECT_0 + i;
        }
        if (watched[count].revents != 0) return WAIT_OBJECT_0 + count;
    }
}

}  // namespace Vimbrel

extern "C" DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    Vimbrel::Waitable* const object = Vimbrel::Waitable::Of(handle);
    return Vimbrel::WaitForFirst(&object, 1, -1, milliseconds);
}

extern "C" DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all,
                                               DWORD milliseconds) {
    if (all || !handles || count >= MAXIMUM_WAIT_OBJECTS) return WAIT_FAILED;
    Vimbrel::Waitable* objects[MAXIMUM_WAIT_OBJECTS];
    for (DWORD i = 0; i < count; ++i) objects[i] = Vimbrel::Waitable::Of(handles[i]);
    return Vimbrel::WaitForFirst(objects, count, -1, milliseconds);
}

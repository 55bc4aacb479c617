// Events on descriptors, so that they can be waited for together with message queues.
#include <windows.h>

#include <poll.h>

#include <atomic>
#include <new>

#include "platform/linux/kernel/Waitable.h"
#include "platform/linux/kernel/Wakeup.h"

namespace {

class Event final : public Vimbrel::Waitable {
public:
    explicit Event(bool manual_reset) : manual(manual_reset) {}

    bool IsUsable() const { return wakeup.Descriptor() >= 0; }
    int Descriptor() const override { return wakeup.Descriptor(); }

    void Set() {
        sets.fetch_add(1, std::memory_order_release);
        wakeup.Set();
    }
    void Reset() const { wakeup.Clear(); }

    bool TryTake() override {
        const bool signalled = manual ? IsReadable() : wakeup.Clear();
        // Makes what was written before Set visible after the wait; the descriptor alone does not
        // promise that.
        static_cast<void>(sets.load(std::memory_order_acquire));
        return signalled;
    }

private:
    bool IsReadable() const {
        pollfd watched = {wakeup.Descriptor(), POLLIN, 0};
        return poll(&watched, 1, 0) == 1;
    }

    const bool manual;
    Vimbrel::Wakeup wakeup;
    std::atomic<unsigned> sets{0};
};

Event* EventOf(HANDLE handle) { return dynamic_cast<Event*>(Vimbrel::Waitable::Of(handle)); }

}  // namespace

extern "C" {

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                           LPCWSTR name) {
    if (security || name) return nullptr;
    Event* const event = new (std::nothrow) Event(manual_reset != FALSE);
    if (!event) return nullptr;
    if (!event->IsUsable()) {
        delete event;
        return nullptr;
    }
    if (initial_state) event->Set();
    return static_cast<Vimbrel::KernelObject*>(event);
}

BOOL WINAPI SetEvent(HANDLE handle) {
    Event* const event = EventOf(handle);
    if (event) event->Set();
    return event != nullptr;
}

BOOL WINAPI ResetEvent(HANDLE handle) {
    const Event* const event = EventOf(handle);
    if (event) event->Reset();
    return event != nullptr;
}

}  // extern "C"

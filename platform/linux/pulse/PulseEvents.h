// What libpulse waits for: descriptors, times and deferred calls.
#pragma once

#include <poll.h>
#include <pulse/mainloop-api.h>

#include <functional>
#include <memory>
#include <vector>

namespace Vimbrel {

// The library's own loop writes to a pipe for each change of an event, and reads it again, three
// times per packet. Here a change costs nothing but a call.
//
// Not locked. While another thread waits on Watched, events may be made, changed and freed.
class PulseEvents {
public:
    // `changed` is called after each change that ends a wait on Watched.
    explicit PulseEvents(std::function<void()> changed);
    // Destroys what libpulse has left.
    ~PulseEvents();
    PulseEvents(const PulseEvents&) = delete;
    PulseEvents& operator=(const PulseEvents&) = delete;

    pa_mainloop_api* Api() { return &api_; }

    // Each deferred call that is enabled, once. False if there is none.
    bool RunDeferred();
    // For poll. Stays in its place until the next call.
    std::vector<pollfd>& Watched();
    // How long poll may wait: milliseconds, -1 without an end.
    int Timeout() const;
    // Calls those whose time has come, and those whose descriptors poll reported. False if there is
    // none.
    bool Dispatch();

private:
    friend struct PulseEventsApi;

    template <class Event>
    void Purge(std::vector<std::unique_ptr<Event>>& events, bool all);
    bool DispatchTimes();

    const std::function<void()> changed_;
    pa_mainloop_api api_;
    std::vector<std::unique_ptr<pa_io_event>> descriptors_;
    std::vector<std::unique_ptr<pa_time_event>> times_;
    std::vector<std::unique_ptr<pa_defer_event>> deferred_;
    std::vector<pollfd> watched_;
    std::vector<pa_io_event*> watchers_;  // of each place in watched_
    int enabled_ = 0;                     // of deferred_
    bool stale_ = true;                   // watched_ lacks a change
    bool freed_ = false;                  // some event is to be purged
};

}  // namespace Vimbrel

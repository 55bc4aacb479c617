#include "platform/linux/pulse/PulseEvents.h"

#include <sys/time.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

using Vimbrel::PulseEvents;

// libpulse names these types and leaves them to the loop.
struct pa_io_event {
    PulseEvents* owner;
    int descriptor;
    pa_io_event_flags_t flags;
    pa_io_event_cb_t call;
    void* data;
    pa_io_event_destroy_cb_t destroy = nullptr;
    bool freed = false;
};

struct pa_time_event {
    PulseEvents* owner;
    std::int64_t due;  // microseconds of the wall clock
    pa_time_event_cb_t call;
    void* data;
    pa_time_event_destroy_cb_t destroy = nullptr;
    bool freed = false;
};

struct pa_defer_event {
    PulseEvents* owner;
    bool enabled;
    pa_defer_event_cb_t call;
    void* data;
    pa_defer_event_destroy_cb_t destroy = nullptr;
    bool freed = false;
};

namespace Vimbrel {

namespace {

constexpr std::int64_t no_time = std::numeric_limits<std::int64_t>::max();

std::int64_t Microseconds(const timeval* time) {
    return time ? std::int64_t{time->tv_sec} * 1'000'000 + time->tv_usec : no_time;
}

// libpulse counts on the wall clock for loops that are not its own.
std::int64_t WallClock() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return Microseconds(&now);
}

constexpr struct {
    pa_io_event_flags_t flag;
    short bit;
} event_bits[] = {{PA_IO_EVENT_INPUT, POLLIN},
                  {PA_IO_EVENT_OUTPUT, POLLOUT},
                  {PA_IO_EVENT_HANGUP, POLLHUP},
                  {PA_IO_EVENT_ERROR, POLLERR}};

short PollBits(pa_io_event_flags_t flags) {
    int bits = 0;
    for (const auto& each : event_bits) bits |= flags & each.flag ? each.bit : 0;
    return static_cast<short>(bits);
}

pa_io_event_flags_t IoFlags(short bits) {
    int flags = 0;
    for (const auto& each : event_bits) flags |= bits & each.bit ? each.flag : 0;
    return static_cast<pa_io_event_flags_t>(flags);
}

}  // namespace

// The functions that libpulse calls.
struct PulseEventsApi {
    static PulseEvents& Of(pa_mainloop_api* api) {
        return *static_cast<PulseEvents*>(api->userdata);
    }
    template <class Event>
    static Event* Add(std::vector<std::unique_ptr<Event>>& events, Event event) {
        events.push_back(std::make_unique<Event>(event));
        event.owner->changed_();
        return events.back().get();
    }
    // Destroyed later, as it may be the one that runs.
    template <class Event>
    static void Free(Event* event) {
        event->freed = true;
        event->owner->freed_ = true;
    }
    template <class Event, class Destroy>
    static void SetDestroy(Event* event, Destroy destroy) {
        event->destroy = destroy;
    }

    static pa_io_event* NewIo(pa_mainloop_api* api, int descriptor, pa_io_event_flags_t flags,
                              pa_io_event_cb_t call, void* data) {
        PulseEvents& owner = Of(api);
        owner.stale_ = true;
        return Add(owner.descriptors_, {&owner, descriptor, flags, call, data});
    }
    static void EnableIo(pa_io_event* event, pa_io_event_flags_t flags) {
        if (event->flags == flags) return;
        event->flags = flags;
        event->owner->stale_ = true;
        event->owner->changed_();
    }
    static void FreeIo(pa_io_event* event) {
        event->owner->stale_ = true;
        Free(event);
        event->owner->changed_();
    }
    static pa_time_event* NewTime(pa_mainloop_api* api, const timeval* due, pa_time_event_cb_t call,
                                  void* data) {
        PulseEvents& owner = Of(api);
        return Add(owner.times_, {&owner, Microseconds(due), call, data});
    }
    static void RestartTime(pa_time_event* event, const timeval* due) {
        event->due = Microseconds(due);
        event->owner->changed_();
    }
    static pa_defer_event* NewDefer(pa_mainloop_api* api, pa_defer_event_cb_t call, void* data) {
        PulseEvents& owner = Of(api);
        ++owner.enabled_;
        return Add(owner.deferred_, {&owner, true, call, data});
    }
    static void EnableDefer(pa_defer_event* event, int enabled) {
        if (event->enabled == (enabled != 0)) return;
        event->enabled = enabled != 0;
        event->owner->enabled_ += event->enabled ? 1 : -1;
        if (event->enabled) event->owner->changed_();
    }
    static void FreeDefer(pa_defer_event* event) {
        EnableDefer(event, 0);
        Free(event);
    }
};

PulseEvents::PulseEvents(std::function<void()> changed)
    : changed_(std::move(changed)),
      api_{this,
           &PulseEventsApi::NewIo,
           &PulseEventsApi::EnableIo,
           &PulseEventsApi::FreeIo,
           &PulseEventsApi::SetDestroy,
           &PulseEventsApi::NewTime,
           &PulseEventsApi::RestartTime,
           &PulseEventsApi::Free,
           &PulseEventsApi::SetDestroy,
           &PulseEventsApi::NewDefer,
           &PulseEventsApi::EnableDefer,
           &PulseEventsApi::FreeDefer,
           &PulseEventsApi::SetDestroy,
           [](pa_mainloop_api*, int) {}} {}

PulseEvents::~PulseEvents() {
    Purge(descriptors_, true);
    Purge(times_, true);
    Purge(deferred_, true);
}

template <class Event>
void PulseEvents::Purge(std::vector<std::unique_ptr<Event>>& events, bool all) {
    for (std::size_t i = 0; i < events.size(); ++i) {
        Event& event = *events[i];
        if ((event.freed || all) && event.destroy)
            std::exchange(event.destroy, nullptr)(&api_, &event, event.data);
    }
    std::erase_if(events, [all](const auto& event) { return event->freed || all; });
}

bool PulseEvents::RunDeferred() {
    if (std::exchange(freed_, false)) {
        Purge(descriptors_, false);
        Purge(times_, false);
        Purge(deferred_, false);
    }
    if (enabled_ == 0) return false;
    bool some = false;
    // By number, since calls make others.
    for (std::size_t i = 0; i < deferred_.size(); ++i) {
        pa_defer_event& event = *deferred_[i];
        if (!event.enabled) continue;
        event.call(&api_, &event, event.data);
        some = true;
    }
    return some;
}

std::vector<pollfd>& PulseEvents::Watched() {
    if (!std::exchange(stale_, false)) return watched_;
    watched_.clear();
    watchers_.clear();
    for (const auto& event : descriptors_) {
        if (event->freed) continue;
        watched_.push_back({event->descriptor, PollBits(event->flags), 0});
        watchers_.push_back(event.get());
    }
    return watched_;
}

int PulseEvents::Timeout() const {
    std::int64_t due = no_time;
    for (const auto& event : times_) {
        if (!event->freed) due = std::min(due, event->due);
    }
    if (due == no_time) return -1;
    constexpr std::int64_t longest = 60'000;
    return static_cast<int>(
        std::clamp<std::int64_t>((due - WallClock() + 999) / 1'000, 0, longest));
}

bool PulseEvents::DispatchTimes() {
    bool some = false;
    const std::int64_t now = times_.empty() ? 0 : WallClock();
    for (std::size_t i = 0; i < times_.size(); ++i) {
        pa_time_event& event = *times_[i];
        if (event.freed || event.due > now) continue;
        const timeval due = {event.due / 1'000'000, event.due % 1'000'000};
        event.due = no_time;
        event.call(&api_, &event, &due, event.data);
        some = true;
    }
    return some;
}

bool PulseEvents::Dispatch() {
    bool some = DispatchTimes();
    // Only the next call of Watched moves them.
    for (std::size_t i = 0; i < watched_.size(); ++i) {
        const short ready = std::exchange(watched_[i].revents, short{0});
        pa_io_event& event = *watchers_[i];
        if (ready == 0 || event.freed) continue;
        event.call(&api_, &event, event.descriptor, IoFlags(ready), event.data);
        some = true;
    }
    return some;
}

}  // namespace Vimbrel

// The events of a graph: from filters on any thread to the application.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "base/ThreadSafety.h"
#include "filters/Face.h"

namespace Vimbrel {

// Collects the ends of the renderers into one, queues, and posts a message for each event. Its
// lock is a leaf.
class GraphEventQueue {
public:
    struct Event {
        LONG code;
        LONG_PTR first;
        LONG_PTR second;
        std::uint64_t number = 0;  // given by the queue
    };

    void Notify(const Event& event);
    // Waits for an event; false if the time comes first.
    bool Take(Event& event, DWORD milliseconds);
    void SetWindow(HWND window, UINT message, LONG_PTR instance);
    // So many renderers have to end, from now on.
    void ExpectEnds(std::size_t renderers);
    // Of the newest event so far.
    std::uint64_t Newest();
    // Removes the waiting events of that code with numbers up to `newest`.
    void Drop(LONG code, std::uint64_t newest);

private:
    void DropLocked(LONG code, std::uint64_t newest) REQUIRES(lock_);

    Mutex lock_;
    Condition queued_;
    std::deque<Event> events_ GUARDED_BY(lock_);
    std::uint64_t newest_ GUARDED_BY(lock_) = 0;
    std::vector<LONG_PTR> ended_ GUARDED_BY(lock_);
    std::size_t renderers_ GUARDED_BY(lock_) = 0;
    HWND window_ GUARDED_BY(lock_) = nullptr;
    UINT message_ GUARDED_BY(lock_) = 0;
    LONG_PTR instance_ GUARDED_BY(lock_) = 0;
};

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class GraphEvents final : public DispatchFace<IMediaEventEx> {
public:
    GraphEvents(IUnknown& owner, GraphEventQueue& queue) : DispatchFace(owner), queue_(queue) {}

    // E_ABORT if the time comes first.
    HRESULT STDMETHODCALLTYPE GetEvent(LONG* code, LONG_PTR* first, LONG_PTR* second,
                                       LONG milliseconds) override;
    HRESULT STDMETHODCALLTYPE FreeEventParams(LONG code, LONG_PTR first, LONG_PTR second) override;
    HRESULT STDMETHODCALLTYPE SetNotifyWindow(OAHWND window, LONG message,
                                              LONG_PTR instance) override;

private:
    GraphEventQueue& queue_;
};

class GraphEventSink final : public Face<IMediaEventSink> {
public:
    GraphEventSink(IUnknown& owner, GraphEventQueue& queue) : Face(owner), queue_(queue) {}

    HRESULT STDMETHODCALLTYPE Notify(LONG code, LONG_PTR first, LONG_PTR second) override;

private:
    GraphEventQueue& queue_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

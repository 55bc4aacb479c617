#include "platform/linux/ds/graph/GraphEvents.h"

#include <algorithm>
#include <chrono>

namespace Vimbrel {

void GraphEventQueue::Notify(const Event& event) {
    HWND window = nullptr;
    UINT message = 0;
    LONG_PTR instance = 0;
    {
        const MutexLock guard(lock_);
        Event queued = event;
        if (event.code == EC_COMPLETE) {
            if (std::find(ended_.begin(), ended_.end(), event.second) != ended_.end()) return;
            ended_.push_back(event.second);
            if (ended_.size() < renderers_) return;
            queued.second = 0;
        }
        queued.number = ++newest_;
        events_.push_back(queued);
        queued_.NotifyOne();
        window = window_;
        message = message_;
        instance = instance_;
    }
    if (window) PostMessageW(window, message, 0, instance);
}

bool GraphEventQueue::Take(Event& event, DWORD milliseconds) {
    MutexLock guard(lock_);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (events_.empty()) {
        if (milliseconds == INFINITE) {
            queued_.Wait(guard);
        } else if (!queued_.WaitUntil(guard, end) && events_.empty()) {
            return false;
        }
    }
    event = events_.front();
    events_.pop_front();
    return true;
}

void GraphEventQueue::SetWindow(HWND window, UINT message, LONG_PTR instance) {
    const MutexLock guard(lock_);
    window_ = window;
    message_ = message;
    instance_ = instance;
}

void GraphEventQueue::ExpectEnds(std::size_t renderers) {
    const MutexLock guard(lock_);
    renderers_ = renderers;
    ended_.clear();
    DropLocked(EC_COMPLETE, newest_);
}

std::uint64_t GraphEventQueue::Newest() {
    const MutexLock guard(lock_);
    return newest_;
}

void GraphEventQueue::Drop(LONG code, std::uint64_t newest) {
    const MutexLock guard(lock_);
    DropLocked(code, newest);
}

void GraphEventQueue::DropLocked(LONG code, std::uint64_t newest) {
    std::erase_if(events_, [code, newest](const Event& each) {
        return each.code == code && each.number <= newest;
    });
}

HRESULT STDMETHODCALLTYPE GraphEvents::GetEvent(LONG* code, LONG_PTR* first, LONG_PTR* second,
                                                LONG milliseconds) {
    if (!code || !first || !second) return E_POINTER;
    GraphEventQueue::Event event{};
    const bool found = queue_.Take(event, static_cast<DWORD>(milliseconds));
    *code = event.code;
    *first = event.first;
    *second = event.second;
    return found ? S_OK : E_ABORT;
}

// No event here owns anything.
HRESULT STDMETHODCALLTYPE GraphEvents::FreeEventParams(LONG, LONG_PTR, LONG_PTR) { return S_OK; }

HRESULT STDMETHODCALLTYPE GraphEvents::SetNotifyWindow(OAHWND window, LONG message,
                                                       LONG_PTR instance) {
    queue_.SetWindow(reinterpret_cast<HWND>(window), static_cast<UINT>(message), instance);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE GraphEventSink::Notify(LONG code, LONG_PTR first, LONG_PTR second) {
    queue_.Notify({code, first, second});
    return S_OK;
}

}  // namespace Vimbrel

// What an event generator of the media pipeline tells, kept in its order.
#pragma once

#include <gtest/gtest.h>
#include <mferror.h>
#include <mfidl.h>
#include <propidl.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "com/ComObject.h"
#include "com/ComPtr.h"

namespace Vimbrel::test {

struct HeardEvent {
    MediaEventType type = MEUnknown;
    HRESULT status = S_OK;
    ComPtr<IUnknown> object;     // if that is the event's value
    std::int64_t position = -1;  // if that is
};

class EventListener final : public ComObject<Implements<IMFAsyncCallback>> {
public:
    explicit EventListener(IMFMediaEventGenerator* heard) : generator(heard) {}

    HRESULT Listen() { return generator->BeginGetEvent(this, nullptr); }

    HRESULT STDMETHODCALLTYPE GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override {
        ComPtr<IMFMediaEvent> event;
        if (FAILED(generator->EndGetEvent(result, event.Put()))) return S_OK;
        HeardEvent heard;
        event->GetType(&heard.type);
        event->GetStatus(&heard.status);
        PROPVARIANT value;
        PropVariantInit(&value);
        event->GetValue(&value);
        if (value.vt == VT_UNKNOWN) heard.object = ComPtr<IUnknown>(value.punkVal);
        if (value.vt == VT_I8) heard.position = value.hVal.QuadPart;
        PropVariantClear(&value);
        {
            const std::lock_guard guard(lock);
            events.push_back(std::move(heard));
        }
        arrived.notify_all();
        Listen();
        return S_OK;
    }

    // The next event. MEUnknown if none comes in time.
    HeardEvent Next(std::chrono::milliseconds patience = std::chrono::seconds(20)) {
        std::unique_lock guard(lock);
        if (!arrived.wait_for(guard, patience, [this] { return !events.empty(); })) return {};
        HeardEvent event = std::move(events.front());
        events.pop_front();
        return event;
    }

    std::vector<MediaEventType> NextTypes(std::size_t count) {
        std::vector<MediaEventType> types;
        for (std::size_t i = 0; i < count; ++i) types.push_back(Next().type);
        return types;
    }

private:
    ComPtr<IMFMediaEventGenerator> generator;
    std::mutex lock;
    std::condition_variable arrived;
    std::deque<HeardEvent> events;  // guarded by lock
};

}  // namespace Vimbrel::test

#include "platform/linux/pulse/PulseConnection.h"

#include <audioclient.h>
#include <pulse/error.h>

#include <chrono>
#include <new>

#include "platform/linux/pulse/PulseError.h"

namespace Vimbrel {

namespace {

// Two streams that stop one after the other on a server that hangs are to take less than a second.
std::chrono::milliseconds Duration(Patience patience) {
    return std::chrono::milliseconds(patience == Patience::usual ? 3'000 : 200);
}

void OnStateChanged(pa_context*, void* connection) {
    static_cast<PulseConnection*>(connection)->Signal();
}

}  // namespace

HRESULT PulseConnection::Open(std::shared_ptr<PulseConnection>& connection) {
    connection.reset();
    std::shared_ptr<PulseConnection> made(new (std::nothrow) PulseConnection);
    if (!made) return E_OUTOFMEMORY;
    const HRESULT hr = made->Connect();
    if (SUCCEEDED(hr)) connection = std::move(made);
    return hr;
}

HRESULT PulseConnection::Connect() {
    if (!loop_.Start()) return ResultFromPulse(PA_ERR_INTERNAL, "start of the loop");
    const PulseLock lock(loop_);
    context_ = pa_context_new(loop_.Api(), nullptr);
    if (!context_) return E_OUTOFMEMORY;
    pa_context_set_state_callback(context_, &OnStateChanged, this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return LastError("connect");
    const auto settled = [](void* context) {
        return pa_context_get_state(static_cast<pa_context*>(context)) == PA_CONTEXT_READY;
    };
    return WaitUntil(settled, context_, "connect");
}

PulseConnection::~PulseConnection() {
    const PulseLock lock(loop_);
    if (!context_) return;
    pa_context_set_state_callback(context_, nullptr, nullptr);
    pa_context_disconnect(context_);
    pa_context_unref(context_);
    context_ = nullptr;
}

HRESULT PulseConnection::State() {
    if (PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))) return S_OK;
    return AUDCLNT_E_SERVICE_NOT_RUNNING;
}

HRESULT PulseConnection::LastError(const char* step) {
    return ResultFromPulse(pa_context_errno(context_), step);
}

HRESULT PulseConnection::WaitUntil(bool (*done)(void*), void* data, const char* step,
                                   Patience patience) {
    const auto end = PulseLoop::Clock::now() + Duration(patience);
    while (!done(data)) {
        if (FAILED(State())) {
            static_cast<void>(LastError(step));
            return AUDCLNT_E_SERVICE_NOT_RUNNING;
        }
        if (PulseLoop::Clock::now() >= end) return ResultFromPulse(PA_ERR_TIMEOUT, step);
        loop_.WaitUntil(end);
    }
    return S_OK;
}

HRESULT PulseConnection::Finish(pa_operation* operation, const char* step, Patience patience) {
    if (!operation) return LastError(step);
    const auto wake = [](pa_operation*, void* self) {
        static_cast<PulseConnection*>(self)->Signal();
    };
    pa_operation_set_state_callback(operation, wake, this);
    const auto ended = [](void* waited) {
        return pa_operation_get_state(static_cast<pa_operation*>(waited)) != PA_OPERATION_RUNNING;
    };
    const HRESULT hr = WaitUntil(ended, operation, step, patience);
    pa_operation_set_state_callback(operation, nullptr, nullptr);
    // Its own callback uses the caller's variables.
    if (FAILED(hr)) pa_operation_cancel(operation);
    pa_operation_unref(operation);
    return hr;
}

}  // namespace Vimbrel

#include "platform/linux/pulse/PulseConnection.h"

#include <audioclient.h>
#include <pulse/error.h>
#include <pulse/rtclock.h>
#include <pulse/timeval.h>

#include <new>

#include "platform/linux/pulse/PulseError.h"

namespace Vimbrel {

namespace {

// Two streams that stop one after the other on a server that hangs are to take less than a second.
pa_usec_t Duration(Patience patience) {
    return patience == Patience::usual ? 3 * PA_USEC_PER_SEC : 200 * PA_USEC_PER_MSEC;
}

// Ends a wait when its time is over. Made and destroyed with the loop's lock held.
class Deadline {
public:
    Deadline(pa_context* context, PulseConnection& connection, Patience patience)
        : connection_(connection),
          event_(
              pa_context_rttime_new(context, pa_rtclock_now() + Duration(patience), &Expire, this)),
          api_(pa_threaded_mainloop_get_api(connection.Loop().Get())) {}
    ~Deadline() {
        if (event_) api_->time_free(event_);
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    // Also when no event could be made: such a wait would have no end.
    bool Expired() const { return expired_ || !event_; }

private:
    static void Expire(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
        auto* const deadline = static_cast<Deadline*>(self);
        deadline->expired_ = true;
        deadline->connection_.Signal();
    }

    PulseConnection& connection_;
    bool expired_ = false;
    pa_time_event* event_;
    pa_mainloop_api* api_;
};

void OnStateChanged(pa_context*, void* connection) {
    static_cast<PulseConnection*>(connection)->Signal();
}

}  // namespace

HRESULT PulseConnection::Open(std::shared_ptr<PulseConnection>& connection) {
    connection.reset();
    std::shared_ptr<PulseConnection> made(new (std::nothrow) PulseConnection);
    if (!made || !made->loop_.Get()) return E_OUTOFMEMORY;
    const HRESULT hr = made->Connect();
    if (SUCCEEDED(hr)) connection = std::move(made);
    return hr;
}

HRESULT PulseConnection::Connect() {
    if (pa_threaded_mainloop_start(loop_.Get()) < 0)
        return ResultFromPulse(PA_ERR_INTERNAL, "start of the loop");
    running_ = true;
    const PulseLock lock(loop_);
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_.Get()), nullptr);
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
    if (context_) {
        const PulseLock lock(loop_);
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
    }
    if (running_) pa_threaded_mainloop_stop(loop_.Get());
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
    const Deadline deadline(context_, *this, patience);
    while (!done(data)) {
        if (FAILED(State())) {
            static_cast<void>(LastError(step));
            return AUDCLNT_E_SERVICE_NOT_RUNNING;
        }
        if (deadline.Expired()) return ResultFromPulse(PA_ERR_TIMEOUT, step);
        pa_threaded_mainloop_wait(loop_.Get());
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

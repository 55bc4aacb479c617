// A connection to the sound server (PulseAudio, or PipeWire in its place).
#pragma once

#include <pulse/context.h>
#include <pulse/operation.h>
#include <windows.h>

#include <memory>

#include "platform/linux/pulse/PulseLoop.h"

namespace Vimbrel {

// How long a request waits for a server that does not answer. libpulse itself would wait for half a
// minute.
enum class Patience { usual, brief };

// Its users share it and it ends with the last of them. It is not renewed: once the server is gone
// every request fails.
class PulseConnection {
public:
    // To the server of the environment. Never starts one.
    static HRESULT Open(std::shared_ptr<PulseConnection>& connection);
    // Not in a callback.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    PulseLoop& Loop() RETURN_CAPABILITY(loop_) { return loop_; }
    pa_context* Context() REQUIRES(loop_) { return context_; }
    // S_OK, or why no request can succeed any more.
    HRESULT State() REQUIRES(loop_);

    // Waits, with the lock released meanwhile, until `done(data)` is true. What makes it true calls
    // Signal. Fails when the server is gone, and after three seconds (0.2, if brief) with
    // ERROR_TIMEOUT's result code.
    HRESULT WaitUntil(bool (*done)(void*), void* data, const char* step,
                      Patience patience = Patience::usual) REQUIRES(loop_);
    // Takes over the operation and waits for its end; null means that the request failed. The
    // result of the request itself reaches its callback.
    HRESULT Finish(pa_operation* operation, const char* step, Patience patience = Patience::usual)
        REQUIRES(loop_);
    // In callbacks, and with the lock held: ends waiting, to look again.
    void Signal() { loop_.Signal(); }
    // The last error of the context as a result code.
    HRESULT LastError(const char* step) REQUIRES(loop_);

private:
    PulseConnection() = default;
    HRESULT Connect();

    PulseLoop loop_;
    pa_context* context_ PT_GUARDED_BY(loop_) = nullptr;
};

}  // namespace Vimbrel

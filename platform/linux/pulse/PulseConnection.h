// A connection to the sound server (PulseAudio, or PipeWire in its place).
#pragma once

#include <pulse/context.h>
#include <pulse/operation.h>
#include <pulse/thread-mainloop.h>
#include <windows.h>

#include <memory>

#include "base/ThreadSafety.h"

namespace Vimbrel {

// The lock of libpulse's loop thread. Callbacks run with it held, on that thread. It is taken last:
// nothing is called out of the sound bridge and no other lock of the engine is taken with it held,
// but for leaves.
class CAPABILITY("mutex") PulseLoop {
public:
    PulseLoop() : loop_(pa_threaded_mainloop_new()) {}
    ~PulseLoop() {
        if (loop_) pa_threaded_mainloop_free(loop_);
    }
    PulseLoop(const PulseLoop&) = delete;
    PulseLoop& operator=(const PulseLoop&) = delete;

    void Lock() ACQUIRE() { pa_threaded_mainloop_lock(loop_); }
    void Unlock() RELEASE() { pa_threaded_mainloop_unlock(loop_); }
    pa_threaded_mainloop* Get() const { return loop_; }

private:
    pa_threaded_mainloop* loop_;
};

class SCOPED_CAPABILITY PulseLock {
public:
    explicit PulseLock(PulseLoop& loop) ACQUIRE(loop) : loop_(loop) { loop_.Lock(); }
    ~PulseLock() RELEASE() { loop_.Unlock(); }
    PulseLock(const PulseLock&) = delete;
    PulseLock& operator=(const PulseLock&) = delete;

private:
    PulseLoop& loop_;
};

// How long a request waits for a server that does not answer. libpulse itself would wait for half a
// minute.
enum class Patience { usual, brief };

// Its users share it and it ends with the last of them. It is not renewed: once the server is gone
// every request fails.
class PulseConnection {
public:
    // To the server of the environment. Never starts one.
    static HRESULT Open(std::shared_ptr<PulseConnection>& connection);
    // Not on the loop's own thread.
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
    // On the loop's thread: ends waiting, to look again.
    void Signal() { pa_threaded_mainloop_signal(loop_.Get(), 0); }
    // The last error of the context as a result code.
    HRESULT LastError(const char* step) REQUIRES(loop_);

private:
    PulseConnection() = default;
    HRESULT Connect();

    PulseLoop loop_;
    bool running_ = false;
    pa_context* context_ PT_GUARDED_BY(loop_) = nullptr;
};

}  // namespace Vimbrel

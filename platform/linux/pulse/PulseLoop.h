// The loop of a connection to the sound server, and its lock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/ThreadSafety.h"
#include "platform/linux/pulse/PulseEvents.h"

namespace Vimbrel {

// libpulse's callbacks run with the lock held, on the loop's own thread or within Turn. The lock is
// taken last: nothing is called out of the sound bridge and no other lock of the engine is taken
// with it held, but for leaves.
//
// A reader that comes every few milliseconds handles the connection's messages itself (Turn), since
// waking another thread for each packet costs more than the packet. The loop's thread rests
// meanwhile. It goes on while a request waits, and when no reader came for half a second.
class CAPABILITY("mutex") PulseLoop {
public:
    using Clock = std::chrono::steady_clock;

    PulseLoop();
    // Stops as well.
    ~PulseLoop();
    PulseLoop(const PulseLoop&) = delete;
    PulseLoop& operator=(const PulseLoop&) = delete;

    // False without the descriptor or the thread that it needs.
    bool Start();
    // Ends the thread. Not on the thread itself, and not with the lock held.
    void Stop();

    void Lock() ACQUIRE() { mutex_.lock(); }
    void Unlock() RELEASE() { mutex_.unlock(); }
    pa_mainloop_api* Api() { return events_.Api(); }

    // Releases the lock until Signal, or until that time. May return earlier.
    void WaitUntil(Clock::time_point end) REQUIRES(this);
    // In callbacks, and with the lock held: ends waiting, to look again.
    void Signal() { changed_.notify_all(); }
    // Handles what has arrived and sends what is to be sent, without waiting for either.
    void Turn() REQUIRES(this);
    // Lets the thread send what nobody waits for.
    void Rouse() REQUIRES(this);

private:
    void Run();
    void Rest() REQUIRES(this);
    // False if there was nothing to do. Waits for it with the lock released.
    bool Step(bool wait) REQUIRES(this);
    template <class Wait>
    void Release(Wait&& wait) REQUIRES(this);
    // Ends the wait of a step.
    void Interrupt();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::condition_variable roused_;
    std::thread thread_;
    const int wakeup_;  // an event that ends the wait of a step; -1: no descriptor is left
    PulseEvents events_;
    int waiting_ GUARDED_BY(this) = 0;      // threads in WaitUntil
    bool turned_ GUARDED_BY(this) = false;  // since the thread last rested
    bool polling_ = false;                  // the thread waits in a step; guarded by the lock
    bool ended_ GUARDED_BY(this) = false;
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

}  // namespace Vimbrel

#include "platform/linux/pulse/PulseLoop.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <system_error>

namespace Vimbrel {

namespace {

// A server that sends faster than its messages are handled must not keep a reader.
constexpr int most_steps = 1'000;
constexpr std::chrono::milliseconds reader_absence{500};

// The application's signals are for its own threads.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

PulseLoop::PulseLoop()
    : wakeup_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), events_([this] { Interrupt(); }) {
    const auto woken = [](pa_mainloop_api*, pa_io_event*, int descriptor, pa_io_event_flags_t,
                          void*) {
        eventfd_t count = 0;
        eventfd_read(descriptor, &count);
    };
    Api()->io_new(Api(), wakeup_, PA_IO_EVENT_INPUT, woken, nullptr);
}

PulseLoop::~PulseLoop() {
    Stop();
    if (wakeup_ >= 0) close(wakeup_);
}

bool PulseLoop::Start() try {
    if (wakeup_ < 0) return false;
    const SignalsBlocked blocked;
    thread_ = std::thread(&PulseLoop::Run, this);
    return true;
} catch (const std::system_error&) {
    return false;
}

void PulseLoop::Stop() {
    if (!thread_.joinable()) return;
    {
        const PulseLock lock(*this);
        ended_ = true;
        Rouse();
    }
    thread_.join();
}

void PulseLoop::Interrupt() {
    if (polling_) eventfd_write(wakeup_, 1);
}

template <class Wait>
void PulseLoop::Release(Wait&& wait) {
    std::unique_lock<std::mutex> lock(mutex_, std::adopt_lock);
    wait(lock);
    lock.release();
}

void PulseLoop::WaitUntil(Clock::time_point end) {
    ++waiting_;
    roused_.notify_one();
    Release([&](std::unique_lock<std::mutex>& lock) { changed_.wait_until(lock, end); });
    --waiting_;
}

void PulseLoop::Turn() {
    turned_ = true;
    if (polling_) {
        // It rests after this, unless it handles the answers to a request.
        if (waiting_ == 0) Interrupt();
        return;
    }
    for (int i = 0; i < most_steps && Step(false); ++i) {
    }
}

void PulseLoop::Rouse() {
    turned_ = false;
    roused_.notify_one();
    Interrupt();
}

void PulseLoop::Rest() {
    turned_ = false;
    Release([&](std::unique_lock<std::mutex>& lock) { roused_.wait_for(lock, reader_absence); });
}

bool PulseLoop::Step(bool wait) {
    if (events_.RunDeferred()) return true;
    std::vector<pollfd>& watched = events_.Watched();
    // What has arrived is handled before a reader judges the newest packet.
    const int ready = poll(watched.data(), watched.size(), 0);
    if (ready == 0 && wait) {
        const int timeout = events_.Timeout();
        polling_ = true;
        Unlock();
        poll(watched.data(), watched.size(), timeout);
        Lock();
        polling_ = false;
    }
    return events_.Dispatch();
}

void PulseLoop::Run() {
    const PulseLock lock(*this);
    while (!ended_) {
        if (turned_ && waiting_ == 0) {
            Rest();
        } else {
            Step(true);
        }
    }
}

}  // namespace Vimbrel

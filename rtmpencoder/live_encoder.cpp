#include "rtmpencoder/live_encoder.h"

#include <mfapi.h>
#include <objbase.h>

#include <new>
#include <system_error>
#include <utility>

namespace Vimbrel {

live_encoder::live_encoder() : start_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

live_encoder::~live_encoder() {
    // Only a thread that ended by itself can be left here: stop has waited for any other.
    if (thread.joinable()) thread.join();
    CloseHandle(start_event);
}

void live_encoder::post(std::unique_ptr<packet>& posted) {
    if (posted->type == packet::type_stop) {
        posted.reset();
        order_stop();
        return;
    }
    // Freed after the lock.
    std::unique_ptr<packet> oldest;
    const MutexLock lock(mutex);
    queue.push_back(std::move(posted));
    if (queue.size() > max_queue) {
        oldest = std::move(queue.front());
        queue.pop_front();
        ++dropped;
    }
    queue_changed.NotifyAll();
}

// Needs no memory, so that a stop succeeds without any.
void live_encoder::order_stop() {
    const MutexLock lock(mutex);
    queue.clear();
    stop_ordered = true;
    queue_changed.NotifyAll();
}

// Kept: neither of the first two failures signals the start, so that start waits for ever. A system
// without them has no encoder to offer, and start has no result for it.
std::int32_t live_encoder::run() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return -1;
    if (FAILED(MFStartup(MF_VERSION, MFSTARTUP_LITE))) return -1;
    bool started = false;
    try {
        started = on_start();
    } catch (const std::bad_alloc&) {
    }
    running = started;
    SetEvent(start_event);
    std::int32_t result = -1;
    if (started) {
        result = consume();
        on_stop();
    }
    MFShutdown();
    CoUninitialize();
    if (started) running = false;
    return result;
}

// Null once the stop was ordered.
std::unique_ptr<live_encoder::packet> live_encoder::next_packet() {
    MutexLock lock(mutex);
    while (queue.empty() && !stop_ordered) queue_changed.Wait(lock);
    if (stop_ordered) return nullptr;
    std::unique_ptr<packet> next = std::move(queue.front());
    queue.pop_front();
    return next;
}

std::int32_t live_encoder::consume() {
    while (const std::unique_ptr<packet> next = next_packet()) {
        try {
            if (!on_packet(next.get())) return -1;
        } catch (const std::bad_alloc&) {
            // The packet is lost. Ending the stream would not give any memory back to the host.
        }
    }
    return 0;
}

bool live_encoder::start() {
    // A second run would have no dispatcher, and nothing would report when it has begun.
    if (WaitForSingleObject(start_event, 0) == WAIT_OBJECT_0) return false;
    try {
        const MutexLock lock(join_mutex);
        thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    WaitForSingleObject(start_event, INFINITE);
    return running;
}

void live_encoder::stop() {
    // A thread that failed is gone already.
    if (!running) return;
    dispatcher = nullptr;
    order_stop();
    {
        // The thread that sends stops the encoders when the link is lost, perhaps while the
        // application does.
        const MutexLock lock(join_mutex);
        if (thread.joinable()) thread.join();
    }
    running = false;
}

}  // namespace Vimbrel

#include "rtmpencoder/live_encoder.h"

#include <mfapi.h>
#include <objbase.h>

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
    // What is dropped is freed outside the lock.
    std::deque<std::unique_ptr<packet>> freed;
    {
        const std::lock_guard lock(mutex);
        // The end overtakes all that waits.
        if (posted->type == packet::type_stop) freed.swap(queue);
        if (queue.size() >= max_queue) {
            freed.push_back(std::move(queue.front()));
            queue.pop_front();
            ++dropped;
        }
        queue.push_back(std::move(posted));
        queue_changed.notify_all();
    }
}

// Neither of the first two failures signals the start, so that start waits for ever. That is meant:
// a system without them has no encoder to offer, and start has no result for it.
std::int32_t live_encoder::run() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return -1;
    if (FAILED(MFStartup(MF_VERSION, MFSTARTUP_LITE))) return -1;
    running = on_start();
    const bool started = running;
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

std::int32_t live_encoder::consume() {
    for (;;) {
        std::unique_ptr<packet> next;
        {
            std::unique_lock lock(mutex);
            queue_changed.wait(lock, [this] { return !queue.empty(); });
            next = std::move(queue.front());
            queue.pop_front();
        }
        if (next->type == packet::type_stop) return 0;
        if (!on_packet(next.get())) return -1;
    }
}

bool live_encoder::start() {
    // A second run would have no dispatcher, and nothing would tell when it has begun.
    if (WaitForSingleObject(start_event, 0) == WAIT_OBJECT_0) return false;
    try {
        thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    WaitForSingleObject(start_event, INFINITE);
    return running;
}

void live_encoder::stop() {
    // A thread that failed is gone already.
    if (!running) return;
    dispatcher = nullptr;
    std::unique_ptr<packet> last = std::make_unique<packet>(packet::type_stop);
    post(last);
    {
        // Owners may stop it from two threads at once: the one that streams when the link is lost,
        // and the application's.
        const std::lock_guard lock(join_mutex);
        if (thread.joinable()) thread.join();
    }
    running = false;
}

}  // namespace Vimbrel

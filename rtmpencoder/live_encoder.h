// Base of the live encoders: a thread, a short queue of raw samples before it, and a dispatcher
// after it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <thread>

#include "base/ThreadSafety.h"
#include "rtmpencoder/encoded_frame.h"

namespace Vimbrel {

// An object serves one run: start, packets, stop. The owner calls stop before it destroys the
// object.
//
// on_start, on_packet and on_stop run on the encoder's own thread, and so does the dispatcher; post
// may be called from any thread.
class live_encoder {
public:
    struct packet {
        enum packet_type : std::uint32_t {
            type_video = 0,
            type_audio = 1,
            type_audio_changing = 2,
            type_stop = 3
        };

        explicit packet(std::uint32_t kind) : type(kind) {}
        packet(const packet&) = delete;
        packet& operator=(const packet&) = delete;
        virtual ~packet() = default;

        std::uint32_t type;
    };

    // It has no virtual destructor: the code that makes one destroys it.
    class dispatcher {
    public:
        // May take the frame; what it leaves is freed.
        virtual void dispatch(encoded_frame_ptr& frame) = 0;

    protected:
        ~dispatcher() = default;
    };

    live_encoder();
    live_encoder(const live_encoder&) = delete;
    live_encoder& operator=(const live_encoder&) = delete;
    virtual ~live_encoder();

    // False ends the thread. A packet for which there is no memory is lost.
    virtual bool on_packet(live_encoder::packet* packet) = 0;
    virtual bool on_start() = 0;
    virtual void on_stop() = 0;

    // Returns whether the thread runs and on_start succeeded. Waits for on_start without limit. A
    // second call does nothing and returns false.
    bool start();
    // Waits for the packet at work; those that wait in the queue are dropped, and nothing is
    // dispatched from here on. Not from the encoder's own thread. Two threads may stop it at once.
    void stop();
    // Takes the packet. Never waits for the encoder: above `max_queue` waiting packets the oldest
    // is dropped. A stop packet drops all that wait and ends the thread. Any thread. May throw
    // std::bad_alloc, which leaves the packet with the caller.
    void post(std::unique_ptr<packet>& packet);

    std::int32_t quality = 1;  // 0 best, 1 medium, 2 lowest
    // Not owned. Set once, before start; cleared by stop.
    std::atomic<live_encoder::dispatcher*> dispatcher = nullptr;
    bool hardware = false;
    // Written by the thread and by stop.
    std::atomic<bool> running = false;
    // How often post has dropped the oldest packet.
    std::atomic<std::uint64_t> dropped = 0;

protected:
    // The length of one unit of the input, as the fraction time_step / time_scale of a second. Set
    // by on_start.
    std::uint32_t time_step = 1;
    std::uint32_t time_scale = 1;

private:
    std::int32_t run();
    std::int32_t consume();
    std::unique_ptr<packet> next_packet();
    void order_stop();

    // Neither mutex is held while the other is taken.
    Mutex join_mutex;
    std::thread thread GUARDED_BY(join_mutex);
    HANDLE start_event;
    Mutex mutex;
    Condition queue_changed;
    std::deque<std::unique_ptr<packet>> queue GUARDED_BY(mutex);  // oldest first
    bool stop_ordered GUARDED_BY(mutex) = false;
    const std::uint32_t max_queue = 12;
};

}  // namespace Vimbrel

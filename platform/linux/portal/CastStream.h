// The PipeWire stream of a screen, with a thread that drains it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/portal/CastEvents.h"
#include "platform/linux/portal/CastOffers.h"
#include "platform/linux/portal/CastPortal.h"

struct pw_buffer;
struct pw_context;
struct pw_core;
struct pw_stream;
struct pw_thread_loop;
struct spa_pod;
struct spa_source;

namespace Vimbrel {

// Keeps the newest buffer. Older ones go back as soon as nobody reads them, so that the producer
// does not wait. The thread also watches the portal's session.
class CastStream {
public:
    CastStream(std::unique_ptr<CastPortal> portal, CastEvents& events);
    ~CastStream();
    CastStream(const CastStream&) = delete;
    CastStream& operator=(const CastStream&) = delete;

    // Once, with a portal that is open. Events come from here until the object is destroyed.
    bool Start();

private:
    struct Hooks;
    struct Buffer {
        pw_buffer* buffer;
        std::shared_ptr<CastMemory> memory;
        // Memory that PipeWire unmaps with the buffer; each picture is copied from there.
        const std::uint8_t* pooled = nullptr;
        bool kept = false;  // taken from the producer and not given back
    };

    // Members without a comment belong to the thread while it runs.
    bool Connect();
    void Process();
    // Whether the buffer is to be kept as the newest one.
    bool Take(const Buffer& taken);
    void GiveBack();
    std::vector<Buffer>::iterator Find(const pw_buffer* buffer);
    bool ReadPicture(const Buffer& taken, CastPicture& picture, RECT& visible);
    void TakeFormat(const spa_pod* format);
    void Remind();
    void Lose(const char* reason);

    static void OnStateChanged(void* self, int before, int state, const char* error);
    static void OnParamChanged(void* self, std::uint32_t id, const spa_pod* param);
    static void OnAddBuffer(void* self, pw_buffer* buffer);
    static void OnRemoveBuffer(void* self, pw_buffer* buffer);
    static void OnCoreError(void* self, std::uint32_t id, int sequence, int result,
                            const char* message);
    static void OnReminder(void* self, std::uint64_t);
    static void OnBusReadable(void* self, int descriptor, std::uint32_t mask);

    const std::unique_ptr<CastPortal> portal_;
    CastEvents& events_;
    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_source* bus_watch_ = nullptr;
    spa_source* reminder_ = nullptr;
    spa_source* giver_ = nullptr;
    std::unique_ptr<Hooks> hooks_;

    std::vector<Buffer> buffers_;
    const pw_buffer* newest_ = nullptr;
    int width_ = 0;
    int height_ = 0;
    bool red_first_ = false;
    bool has_streamed_ = false;
    bool awaits_picture_ = true;  // none has come in this format
    bool reminding_ = false;      // the stream is being paused on purpose
    bool everything_changed_ = true;
    std::uint64_t last_sequence_ = 0;
    std::array<RECT, damage_limit> damage_{};
    bool lost_ = false;
};

}  // namespace Vimbrel

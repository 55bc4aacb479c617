// A frame that an encoder has made.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace Vimbrel {

// Units of a frame's times.
constexpr std::int64_t ticks_per_ms = 10'000;

struct encoded_frame {
    enum frame_type : std::uint32_t {
        type_aac = 0,
        type_h264 = 1,
        type_stop = 2,  // no frame: ends the thread that sends
    };

    std::uint32_t type = type_aac;
    std::uint8_t* data = nullptr;  // owned, from std::malloc; null if size is 0
    std::int32_t size = 0;         // bytes
    std::int64_t time = 0;  // in units of 100 ns: of presentation; of AAC, when it was dispatched
    std::int64_t decode_time = 0;  // in units of 100 ns, 0 if the encoder gave none
    std::uint8_t key = 0;          // not 0 for a key frame
    // Bytes of each AAC frame in `data`, in their order.
    std::vector<std::int32_t> aac_frame_sizes;
};

struct encoded_frame_deleter {
    void operator()(encoded_frame* frame) const {
        if (frame == nullptr) return;
        std::free(frame->data);
        delete frame;
    }
};

using encoded_frame_ptr = std::unique_ptr<encoded_frame, encoded_frame_deleter>;

// Makes a frame with a copy of the bytes; null if there is no memory for them.
inline encoded_frame_ptr make_encoded_frame(std::uint32_t type, const void* bytes,
                                            std::int32_t size) {
    encoded_frame_ptr frame(new encoded_frame);
    frame->type = type;
    if (size <= 0) return frame;
    frame->data = static_cast<std::uint8_t*>(std::malloc(static_cast<std::size_t>(size)));
    if (frame->data == nullptr) return nullptr;
    std::memcpy(frame->data, bytes, static_cast<std::size_t>(size));
    frame->size = size;
    return frame;
}

}  // namespace Vimbrel

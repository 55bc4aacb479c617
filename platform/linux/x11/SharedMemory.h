// Memory that the server writes into.
#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

class SharedMemory {
public:
    // Zeros. Null if the server cannot share memory, as one on another machine cannot.
    static std::unique_ptr<SharedMemory> Make(std::shared_ptr<XConnection> connection,
                                              std::size_t size);

    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::uint8_t* Bytes() const { return bytes_; }
    std::size_t Size() const { return size_; }
    xcb_shm_seg_t Segment() const { return segment_; }
    const XConnection& Connection() const { return *connection_; }

private:
    SharedMemory(std::shared_ptr<XConnection> connection, std::uint8_t* bytes, std::size_t size)
        : connection_(std::move(connection)), bytes_(bytes), size_(size) {}

    std::shared_ptr<XConnection> connection_;
    std::uint8_t* bytes_;
    std::size_t size_;
    xcb_shm_seg_t segment_ = 0;
};

}  // namespace Vimbrel

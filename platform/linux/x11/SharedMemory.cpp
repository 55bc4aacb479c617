#include "platform/linux/x11/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <utility>

namespace Vimbrel {

std::unique_ptr<SharedMemory> SharedMemory::Make(std::shared_ptr<XConnection> connection,
                                                 std::size_t size) {
    if (!connection->HasSharedMemory() || size == 0) return nullptr;
    const int file = memfd_create("vimbrel-screen", MFD_CLOEXEC);
    if (file < 0) return nullptr;
    void* memory = MAP_FAILED;
    if (ftruncate(file, static_cast<off_t>(size)) == 0)
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        close(file);
        return nullptr;
    }
    std::unique_ptr<SharedMemory> shared(new (std::nothrow) SharedMemory(
        std::move(connection), static_cast<std::uint8_t*>(memory), size));
    if (!shared) {
        munmap(memory, size);
        close(file);
        return nullptr;
    }
    xcb_connection_t* const c = shared->connection_->Get();
    const xcb_shm_seg_t segment = xcb_generate_id(c);
    // The library closes the descriptor once it is sent.
    if (!XConnection::Succeeded(
            xcb_request_check(c, xcb_shm_attach_fd_checked(c, segment, file, 0)), "share memory") ||
        shared->connection_->Lost()) {
        return nullptr;
    }
    shared->segment_ = segment;
    return shared;
}

SharedMemory::~SharedMemory() {
    if (segment_) {
        xcb_shm_detach(connection_->Get(), segment_);
        xcb_flush(connection_->Get());
    }
    munmap(bytes_, size_);
}

}  // namespace Vimbrel

#include "tests/support/V4l2Shim.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace Vimbrel::test {

namespace {

using State = ShimCamera::State;

std::mutex cameras_lock;
std::vector<std::shared_ptr<State>> cameras;

std::shared_ptr<State> FindByPath(const char* path) {
    const std::lock_guard guard(cameras_lock);
    for (const auto& each : cameras) {
        if (each->path == path) return each;
    }
    return nullptr;
}

std::shared_ptr<State> FindByFile(int file) {
    const std::lock_guard guard(cameras_lock);
    for (const auto& each : cameras) {
        if (each->file == file && file >= 0) return each;
    }
    return nullptr;
}

// The number of a closed file comes back for the next one, which is `owner`'s if that is not null.
void TakeFile(State* owner, int file) {
    const std::lock_guard guard(cameras_lock);
    for (const auto& each : cameras) {
        if (each->file == file) each->file = -1;
    }
    if (owner) owner->file = file;
}

}  // namespace

ShimCamera::ShimCamera(std::string path, std::vector<ShimFormat> formats)
    : state(std::make_shared<State>()) {
    state->path = std::move(path);
    state->formats = std::move(formats);
    const ShimFormat& first = state->formats.front();
    state->pixel_format = first.pixel_format;
    state->width = first.sizes.empty() ? 320 : first.sizes.front().width;
    state->height = first.sizes.empty() ? 240 : first.sizes.front().height;
    FitShim(*state);
    const std::lock_guard guard(cameras_lock);
    cameras.push_back(state);
}

ShimCamera::~ShimCamera() {
    Unplug();
    const std::lock_guard guard(cameras_lock);
    std::erase(cameras, state);
}

bool ShimCamera::Deliver(const std::vector<std::uint8_t>& bytes, std::int64_t microseconds,
                         std::uint32_t flags) {
    const std::lock_guard guard(state->lock);
    const std::uint32_t sequence = state->sequence++;
    // The memory of a device that is gone may be unmapped.
    if (state->unplugged || !state->streaming || state->queued.empty()) return false;
    v4l2_buffer buffer{};
    buffer.index = state->queued.front();
    state->queued.erase(state->queued.begin());
    buffer.bytesused = static_cast<std::uint32_t>(bytes.size());
    buffer.flags = flags;
    buffer.sequence = sequence;
    buffer.timestamp = {static_cast<time_t>(microseconds / 1'000'000),
                        static_cast<suseconds_t>(microseconds % 1'000'000)};
    std::vector<std::uint8_t>& memory = state->buffers[buffer.index];
    auto* const mapped = *reinterpret_cast<std::uint8_t**>(memory.data());
    std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), state->image_size), mapped);
    state->ready.push_back(buffer);
    return write(state->peer, "x", 1) == 1;
}

void ShimCamera::Unplug() {
    const std::lock_guard guard(state->lock);
    state->unplugged = true;
    state->streaming = false;
    if (state->peer >= 0) close(state->peer);
    state->peer = -1;
}

bool ShimCamera::IsStreaming() {
    const std::lock_guard guard(state->lock);
    return state->streaming;
}

int ShimCamera::OpenFiles() {
    const std::lock_guard guard(state->lock);
    return state->file >= 0 && fcntl(state->file, F_GETFD) >= 0 ? 1 : 0;
}

static int OpenCamera(State& state) {
    const std::lock_guard guard(state.lock);
    if (state.unplugged) {
        errno = ENODEV;
        return -1;
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
    ++state.opened;
    if (state.peer >= 0) close(state.peer);
    TakeFile(&state, ends[0]);
    state.peer = ends[1];
    return ends[0];
}

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_ioctl(int file, unsigned long request, ...);
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);

int __real_poll(pollfd* watched, nfds_t count, int milliseconds);

int __wrap_poll(pollfd* watched, nfds_t count, int milliseconds) {
    const auto camera = count > 0 ? FindByFile(watched[0].fd) : nullptr;
    if (!camera) return __real_poll(watched, count, milliseconds);
    bool interrupted = false;
    {
        const std::lock_guard guard(camera->lock);
        if (camera->silent) {
            camera->waits.push_back(milliseconds);
            interrupted = camera->interrupts > 0;
            camera->interrupts -= interrupted ? 1 : 0;
            milliseconds = interrupted ? 20 : 0;
        }
    }
    const int ready = __real_poll(watched, count, milliseconds);
    if (!interrupted || ready != 0) return ready;
    errno = EINTR;
    return -1;
}

int __wrap_open(const char* path, int flags, ...) {
    if (const auto camera = FindByPath(path)) return OpenCamera(*camera);
    va_list list;
    va_start(list, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(list, int) : 0;
    va_end(list);
    const int file = __real_open(path, flags, mode);
    TakeFile(nullptr, file);
    return file;
}

int __wrap_ioctl(int file, unsigned long request, ...) {
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    if (const auto camera = FindByFile(file)) return AnswerShim(*camera, request, argument);
    return __real_ioctl(file, request, argument);
}

void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) {
    const auto camera = FindByFile(file);
    if (!camera) return __real_mmap(address, size, protection, flags, file, at);
    void* const memory = __real_mmap(nullptr, size, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const std::lock_guard guard(camera->lock);
    std::vector<std::uint8_t>& kept = camera->buffers[static_cast<std::size_t>(at) / 0x100000];
    kept.resize(sizeof memory);
    std::memcpy(kept.data(), &memory, sizeof memory);
    return memory;
}

}  // extern "C"

}  // namespace Vimbrel::test

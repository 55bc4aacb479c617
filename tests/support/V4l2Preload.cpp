// A camera for programs that load this with LD_PRELOAD: 320 x 240, 25 pictures per second, green.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>

#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/support/V4l2Shim.h"

namespace {

using Vimbrel::test::ShimCamera;

// What the shim stands before.
template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::vector<std::uint8_t> GreenPicture() {
    std::vector<std::uint8_t> picture(std::size_t{320} * 240 * 2);
    for (std::size_t i = 0; i < picture.size(); i += 4) {
        constexpr std::uint8_t yuyv[] = {145, 54, 145, 34};
        std::memcpy(picture.data() + i, yuyv, sizeof yuyv);
    }
    return picture;
}

void Film(const std::stop_token& stop, ShimCamera& camera) {
    using Clock = std::chrono::steady_clock;
    const std::vector<std::uint8_t> picture = GreenPicture();
    for (auto due = Clock::now(); !stop.stop_requested(); due += std::chrono::milliseconds(40)) {
        std::this_thread::sleep_until(due);
        const auto time = due.time_since_epoch();
        camera.Deliver(picture,
                       std::chrono::duration_cast<std::chrono::microseconds>(time).count());
    }
}

}  // namespace

extern "C" {

int __wrap_open(const char* path, int flags, ...);
int __wrap_ioctl(int file, unsigned long request, ...);
void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);
int __wrap_poll(pollfd* watched, nfds_t count, int milliseconds);

int __real_open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const int mode = va_arg(list, int);
    va_end(list);
    return Next<int(const char*, int, ...)>("open")(path, flags, mode);
}
int __real_ioctl(int file, unsigned long request, ...) {
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return Next<int(int, unsigned long, ...)>("ioctl")(file, request, argument);
}
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) {
    return Next<decltype(__real_mmap)>("mmap")(address, size, protection, flags, file, at);
}
int __real_poll(pollfd* watched, nfds_t count, int milliseconds) {
    return Next<decltype(__real_poll)>("poll")(watched, count, milliseconds);
}

[[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(list, int) : 0;
    va_end(list);
    return __wrap_open(path, flags, mode);
}
[[gnu::visibility("default")]] int ioctl(int file, unsigned long request, ...) noexcept {
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return __wrap_ioctl(file, request, argument);
}
[[gnu::visibility("default")]] void* mmap(void* address, std::size_t size, int protection,
                                          int flags, int file, off_t at) noexcept {
    return __wrap_mmap(address, size, protection, flags, file, at);
}
[[gnu::visibility("default")]] int poll(pollfd* watched, nfds_t count, int milliseconds) {
    return __wrap_poll(watched, count, milliseconds);
}
// A folder is listed by way of this one. The list of /dev is that of a folder of the test's.
[[gnu::visibility("default")]] int openat(int folder, const char* path, int flags, ...) {
    if (std::strcmp(path, "/dev") == 0) {
        // Left to the end of the program.
        static auto* const camera =
            new ShimCamera("/dev/video0", {{V4L2_PIX_FMT_YUYV, {{320, 240, {{1, 25}}}}}});
        static auto* const thread = new std::jthread(Film, std::ref(*camera));
        static_cast<void>(thread);
        path = std::getenv("VIMBREL_TEST_DEVICES");
    }
    va_list list;
    va_start(list, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(list, int) : 0;
    va_end(list);
    return Next<int(int, const char*, int, ...)>("openat")(folder, path, flags, mode);
}

}  // extern "C"

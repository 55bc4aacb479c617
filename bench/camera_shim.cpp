#include "bench/camera_shim.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/mman.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t width = 1920;
constexpr std::uint32_t height = 1080;
constexpr std::uint32_t image_size = width * height * 2;
constexpr std::uint32_t offset_step = 0x1000000;
constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t frame = second / 30;

// The descriptor of a timer: it is readable when a picture is due.
int device = -1;
std::int64_t due = 0;  // of the next picture
std::uint32_t sequence = 0;
std::vector<std::uint32_t> queued;
CameraShimTimes times;

const std::vector<char>& Jpeg() {
    static const std::vector<char> bytes = [] {
        const char* const file = std::getenv(camera_jpeg_variable);
        std::ifstream stream(file ? file : "", std::ios::binary);
        return std::vector<char>{std::istreambuf_iterator<char>(stream), {}};
    }();
    return bytes;
}

std::uint32_t PixelFormat() { return Jpeg().empty() ? V4L2_PIX_FMT_YUYV : V4L2_PIX_FMT_MJPEG; }

std::int64_t TimeOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * second + now.tv_nsec;
}

void WriteFormat(v4l2_pix_format& target) {
    target.width = width;
    target.height = height;
    target.pixelformat = PixelFormat();
    target.field = V4L2_FIELD_NONE;
    target.bytesperline = Jpeg().empty() ? width * 2 : 0;
    target.sizeimage = image_size;
}

int Fail(int error) {
    errno = error;
    return -1;
}

int StartStreaming() {
    due = TimeOf(CLOCK_MONOTONIC) + frame;
    const itimerspec timer{{0, frame}, {due / second, due % second}};
    return timerfd_settime(device, TFD_TIMER_ABSTIME, &timer, nullptr);
}

int TakePicture(v4l2_buffer& buffer) {
    std::uint64_t passed = 0;
    if (read(device, &passed, sizeof passed) != sizeof passed) return -1;
    const auto skipped = static_cast<std::int64_t>(passed) - 1;
    sequence += static_cast<std::uint32_t>(skipped);
    due += skipped * frame;
    if (queued.empty()) return Fail(EIO);
    buffer.index = queued.front();
    queued.erase(queued.begin());
    buffer.bytesused = Jpeg().empty() ? image_size : static_cast<std::uint32_t>(Jpeg().size());
    buffer.flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
    buffer.sequence = sequence++;
    buffer.timestamp = {due / second, due % second / 1000};
    times = {due, TimeOf(CLOCK_THREAD_CPUTIME_ID)};
    due += frame;
    return 0;
}

int ListFormats(unsigned long request, void* argument) {
    if (request == VIDIOC_ENUM_FMT) {
        auto& format = *static_cast<v4l2_fmtdesc*>(argument);
        if (format.index > 0) return Fail(EINVAL);
        format.pixelformat = PixelFormat();
    } else if (request == VIDIOC_ENUM_FRAMESIZES) {
        auto& size = *static_cast<v4l2_frmsizeenum*>(argument);
        if (size.index > 0) return Fail(EINVAL);
        size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        size.discrete = {width, height};
    } else {
        auto& rate = *static_cast<v4l2_frmivalenum*>(argument);
        if (rate.index > 0) return Fail(EINVAL);
        rate.type = V4L2_FRMIVAL_TYPE_DISCRETE;
        rate.discrete = {1, 30};
    }
    return 0;
}

int Answer(unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_QUERYCAP: {
            auto& answer = *static_cast<v4l2_capability*>(argument);
            std::memset(&answer, 0, sizeof answer);
            std::strcpy(reinterpret_cast<char*>(answer.card), "Bench camera");
            answer.device_caps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
            answer.capabilities = answer.device_caps | V4L2_CAP_DEVICE_CAPS;
            return 0;
        }
        case VIDIOC_ENUM_FMT:
        case VIDIOC_ENUM_FRAMESIZES:
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return ListFormats(request, argument);
        case VIDIOC_G_INPUT:
            *static_cast<int*>(argument) = 0;
            return 0;
        case VIDIOC_S_INPUT:
        case VIDIOC_STREAMOFF:
            return 0;
        case VIDIOC_ENUMINPUT:
            return static_cast<v4l2_input*>(argument)->index == 0 ? 0 : Fail(EINVAL);
        case VIDIOC_G_FMT:
        case VIDIOC_S_FMT:
        case VIDIOC_TRY_FMT:
            WriteFormat(static_cast<v4l2_format*>(argument)->fmt.pix);
            return 0;
        case VIDIOC_G_PARM:
        case VIDIOC_S_PARM: {
            auto& capture = static_cast<v4l2_streamparm*>(argument)->parm.capture;
            capture.capability = V4L2_CAP_TIMEPERFRAME;
            capture.timeperframe = {1, 30};
            return 0;
        }
        case VIDIOC_REQBUFS:
            queued.clear();
            return 0;
        case VIDIOC_QUERYBUF: {
            auto& buffer = *static_cast<v4l2_buffer*>(argument);
            buffer.length = image_size;
            buffer.m.offset = buffer.index * offset_step;
            return 0;
        }
        case VIDIOC_QBUF:
            queued.push_back(static_cast<v4l2_buffer*>(argument)->index);
            return 0;
        case VIDIOC_DQBUF:
            return TakePicture(*static_cast<v4l2_buffer*>(argument));
        case VIDIOC_STREAMON:
            return StartStreaming();
        default:
            return Fail(ENOTTY);
    }
}

template <class Function>
Function Real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int OpenFile(const char* name, const char* path, int flags, int mode) {
    const char* const camera = std::getenv(camera_path_variable);
    if (!camera || std::string(camera) != path)
        return Real<int (*)(const char*, int, ...)>(name)(path, flags, mode);
    device = timerfd_create(CLOCK_MONOTONIC,
                            TFD_CLOEXEC | ((flags & O_NONBLOCK) != 0 ? TFD_NONBLOCK : 0));
    return device;
}

// The buffers have their picture from the start.
void* MapPicture() {
    auto* const memory = static_cast<std::uint8_t*>(
        mmap(nullptr, image_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    for (std::uint32_t i = 0; i < image_size; ++i)
        memory[i] =
            static_cast<std::uint8_t>(i % 2 == 0 ? 16 + i / 1021 % 220 : 64 + i / 613 % 128);
    std::copy(Jpeg().begin(), Jpeg().end(), memory);
    return memory;
}

}  // namespace

extern "C" {

#define SHIM_EXPORT __attribute__((visibility("default")))

SHIM_EXPORT CameraShimTimes VimbrelCameraShimTimes() { return times; }

SHIM_EXPORT int open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(list, int) : 0;
    va_end(list);
    return OpenFile("open", path, flags, mode);
}

SHIM_EXPORT int open64(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(list, int) : 0;
    va_end(list);
    return OpenFile("open64", path, flags, mode);
}

SHIM_EXPORT int ioctl(int file, unsigned long request, ...) noexcept {
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    if (file == device && file >= 0) return Answer(request, argument);
    return Real<int (*)(int, unsigned long, ...)>("ioctl")(file, request, argument);
}

SHIM_EXPORT void* mmap(void* address, std::size_t size, int protection, int flags, int file,
                       off_t offset) noexcept {
    if (file == device && file >= 0) return MapPicture();
    return Real<void* (*)(void*, std::size_t, int, int, int, off_t)>("mmap")(
        address, size, protection, flags, file, offset);
}

SHIM_EXPORT void* mmap64(void* address, std::size_t size, int protection, int flags, int file,
                         off64_t offset) noexcept {
    return mmap(address, size, protection, flags, file, offset);
}

}  // extern "C"

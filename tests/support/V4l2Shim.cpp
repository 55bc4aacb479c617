#include "tests/support/V4l2Shim.h"

#include <fcntl.h>
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

int Fail(int error) {
    errno = error;
    return -1;
}

void Fit(State& state) {
    const bool compressed = state.pixel_format == V4L2_PIX_FMT_MJPEG;
    const std::uint32_t pixel = state.pixel_format == V4L2_PIX_FMT_BGR24    ? 3
                                : state.pixel_format == V4L2_PIX_FMT_YUYV   ? 2
                                : state.pixel_format == V4L2_PIX_FMT_XBGR32 ? 4
                                                                            : 1;
    state.bytes_per_line = compressed ? 0 : state.width * pixel + state.padding;
    state.image_size = compressed   ? state.width * state.height * 2
                       : pixel == 1 ? state.bytes_per_line * state.height * 3 / 2
                                    : state.bytes_per_line * state.height;
}

const ShimFormat* FindFormat(const State& state, std::uint32_t pixel_format) {
    for (const ShimFormat& each : state.formats) {
        if (each.pixel_format == pixel_format) return &each;
    }
    return nullptr;
}

void WriteFormat(const State& state, v4l2_pix_format& target) {
    target.pixelformat = state.pixel_format;
    target.width = state.width;
    target.height = state.height;
    target.bytesperline = state.bytes_per_line;
    target.sizeimage = state.image_size;
}

int ListSizes(const State& state, v4l2_frmsizeenum& size) {
    const ShimFormat* const format = FindFormat(state, size.pixel_format);
    if (!format || size.index >= format->sizes.size()) return Fail(EINVAL);
    size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
    size.discrete = {format->sizes[size.index].width, format->sizes[size.index].height};
    return 0;
}

int ListRates(const State& state, v4l2_frmivalenum& rate) {
    const ShimFormat* const format = FindFormat(state, rate.pixel_format);
    if (!format) return Fail(EINVAL);
    for (const ShimSize& each : format->sizes) {
        if (each.width != rate.width || each.height != rate.height) continue;
        if (rate.index >= each.rates.size()) return Fail(EINVAL);
        rate.type = V4L2_FRMIVAL_TYPE_DISCRETE;
        rate.discrete = each.rates[rate.index];
        return 0;
    }
    return Fail(EINVAL);
}

int SetFormat(State& state, v4l2_pix_format& wanted) {
    if (state.streaming) return Fail(EBUSY);
    const ShimFormat* const format = FindFormat(state, wanted.pixelformat);
    if (format && !state.refuses) {
        for (const ShimSize& each : format->sizes) {
            if (each.width != wanted.width || each.height != wanted.height) continue;
            state.pixel_format = wanted.pixelformat;
            state.width = wanted.width;
            state.height = wanted.height;
            Fit(state);
        }
    }
    // A driver answers with what it sets instead.
    WriteFormat(state, wanted);
    return 0;
}

int TakeBuffer(State& state, v4l2_buffer& buffer) {
    if (state.ready.empty()) return Fail(EAGAIN);
    char byte = 0;
    static_cast<void>(!read(state.file, &byte, 1));
    buffer = state.ready.front();
    state.ready.erase(state.ready.begin());
    return 0;
}

int Answer(State& state, unsigned long request, void* argument) {
    const std::lock_guard guard(state.lock);
    if (state.unplugged) return Fail(ENODEV);
    switch (request) {
        case VIDIOC_QUERYCAP: {
            auto& answer = *static_cast<v4l2_capability*>(argument);
            std::strncpy(reinterpret_cast<char*>(answer.card), state.card.c_str(), 31);
            std::strncpy(reinterpret_cast<char*>(answer.bus_info), state.bus.c_str(), 31);
            answer.capabilities = V4L2_CAP_DEVICE_CAPS | V4L2_CAP_VIDEO_CAPTURE;
            answer.device_caps = state.caps;
            return 0;
        }
        case VIDIOC_ENUM_FMT: {
            auto& answer = *static_cast<v4l2_fmtdesc*>(argument);
            if (answer.index >= state.formats.size()) return Fail(EINVAL);
            answer.pixelformat = state.formats[answer.index].pixel_format;
            return 0;
        }
        case VIDIOC_ENUM_FRAMESIZES:
            return ListSizes(state, *static_cast<v4l2_frmsizeenum*>(argument));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return ListRates(state, *static_cast<v4l2_frmivalenum*>(argument));
        case VIDIOC_G_FMT:
            WriteFormat(state, static_cast<v4l2_format*>(argument)->fmt.pix);
            return 0;
        case VIDIOC_S_FMT:
            return SetFormat(state, static_cast<v4l2_format*>(argument)->fmt.pix);
        case VIDIOC_G_PARM:
            static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe = state.rate;
            return 0;
        case VIDIOC_S_PARM:
            state.rate = static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe;
            return 0;
        case VIDIOC_REQBUFS: {
            auto& wanted = *static_cast<v4l2_requestbuffers*>(argument);
            if (state.streaming) return Fail(EBUSY);
            state.buffers.assign(wanted.count, {});
            state.queued.clear();
            state.ready.clear();
            return 0;
        }
        case VIDIOC_QUERYBUF: {
            auto& buffer = *static_cast<v4l2_buffer*>(argument);
            if (buffer.index >= state.buffers.size()) return Fail(EINVAL);
            buffer.length = state.image_size;
            buffer.m.offset = buffer.index * 0x100000u;
            return 0;
        }
        case VIDIOC_QBUF:
            state.queued.push_back(static_cast<v4l2_buffer*>(argument)->index);
            return 0;
        case VIDIOC_DQBUF:
            return TakeBuffer(state, *static_cast<v4l2_buffer*>(argument));
        case VIDIOC_STREAMON:
            state.streaming = true;
            return 0;
        case VIDIOC_STREAMOFF:
            state.streaming = false;
            return 0;
        default:
            return Fail(ENOTTY);
    }
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
    Fit(*state);
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
    if (state.unplugged) return Fail(ENODEV);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
    if (state.peer >= 0) close(state.peer);
    TakeFile(&state, ends[0]);
    state.peer = ends[1];
    return ends[0];
}

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_ioctl(int file, unsigned long request, ...);
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at);

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
    if (const auto camera = FindByFile(file)) return Answer(*camera, request, argument);
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

#include "platform/linux/ds/device/V4l2Node.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <utility>

#include "platform/linux/kernel/ErrnoResult.h"

namespace Vimbrel {

namespace {

constexpr std::uint32_t buffer_count = 4;
constexpr int silence_milliseconds = 10'000;
// So many failed attempts in a row are no passing trouble of the signal.
constexpr int most_failures = 50;

std::string Text(const std::uint8_t* bytes, std::size_t capacity) {
    const auto* const text = reinterpret_cast<const char*>(bytes);
    return {text, strnlen(text, capacity)};
}

}  // namespace

FileDescriptor::~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
}

V4l2Node::V4l2Node(int descriptor, int wake, const v4l2_capability& capability)
    : device_(descriptor),
      wake_(wake),
      card_(Text(capability.card, sizeof capability.card)),
      bus_(Text(capability.bus_info, sizeof capability.bus_info)) {}

std::unique_ptr<V4l2Node> V4l2Node::Open(const std::string& node, HRESULT& result) {
    const int descriptor = open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        result = ResultFromErrno(errno);
        return nullptr;
    }
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    v4l2_capability capability{};
    result = wake < 0 || ioctl(descriptor, VIDIOC_QUERYCAP, &capability) != 0
                 ? ResultFromErrno(errno)
                 : S_OK;
    const std::uint32_t able = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0
                                   ? capability.device_caps
                                   : capability.capabilities;
    if (SUCCEEDED(result) &&
        ((able & V4L2_CAP_VIDEO_CAPTURE) == 0 || (able & V4L2_CAP_STREAMING) == 0))
        result = E_NOINTERFACE;
    std::unique_ptr<V4l2Node> opened(new V4l2Node(descriptor, wake, capability));
    return SUCCEEDED(result) ? std::move(opened) : nullptr;
}

HRESULT V4l2Node::Call(unsigned long request, void* argument) const {
    int done = 0;
    do {
        done = ioctl(device_.Get(), request, argument);
    } while (done != 0 && errno == EINTR);
    return done == 0 ? S_OK : ResultFromErrno(errno);
}

HRESULT V4l2Node::Start() {
    Stop();
    std::uint64_t woken = 0;
    // One read empties the counter; there is nothing to read if nobody woke.
    static_cast<void>(!read(wake_.Get(), &woken, sizeof woken));
    HRESULT hr = MapBuffers();
    int type = capture;
    if (SUCCEEDED(hr)) hr = Call(VIDIOC_STREAMON, &type);
    streaming_ = SUCCEEDED(hr);
    failures_ = 0;
    if (FAILED(hr)) Stop();
    return hr;
}

HRESULT V4l2Node::MapBuffers() {
    v4l2_requestbuffers request{};
    request.count = buffer_count;
    request.type = capture;
    request.memory = V4L2_MEMORY_MMAP;
    HRESULT hr = Call(VIDIOC_REQBUFS, &request);
    requested_ = SUCCEEDED(hr);
    if (FAILED(hr) || request.count < 2) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    for (std::uint32_t i = 0; i < request.count; ++i) {
        v4l2_buffer buffer{};
        buffer.type = capture;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = i;
        hr = Call(VIDIOC_QUERYBUF, &buffer);
        if (FAILED(hr)) return hr;
        void* const memory = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED,
                                  device_.Get(), buffer.m.offset);
        if (memory == MAP_FAILED) return ResultFromErrno(errno);
        buffers_.emplace_back(static_cast<std::uint8_t*>(memory), buffer.length);
        hr = Call(VIDIOC_QBUF, &buffer);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

void V4l2Node::Stop() {
    int type = capture;
    if (streaming_) Call(VIDIOC_STREAMOFF, &type);
    streaming_ = false;
    for (const std::span<std::uint8_t>& each : buffers_) munmap(each.data(), each.size());
    buffers_.clear();
    if (!std::exchange(requested_, false)) return;
    v4l2_requestbuffers none{};
    none.type = capture;
    none.memory = V4L2_MEMORY_MMAP;
    Call(VIDIOC_REQBUFS, &none);
}

HRESULT V4l2Node::Wait(V4l2Picture& picture) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    // Once for all rounds: a host's timer may interrupt each.
    const auto end = steady_clock::now() + milliseconds(silence_milliseconds);
    for (;;) {
        pollfd watched[] = {{device_.Get(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}};
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        const int ready =
            poll(watched, 2, static_cast<int>(std::max(left, milliseconds(0)).count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return ResultFromErrno(errno);
        if ((watched[1].revents & POLLIN) != 0) return S_FALSE;
        if (ready == 0) return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
        const HRESULT hr = Take(picture);
        if (hr != S_FALSE) return hr;
    }
}

HRESULT V4l2Node::Take(V4l2Picture& picture) {
    v4l2_buffer buffer{};
    buffer.type = capture;
    buffer.memory = V4L2_MEMORY_MMAP;
    if (ioctl(device_.Get(), VIDIOC_DQBUF, &buffer) != 0) {
        const int error = errno;
        const bool passing = error == EAGAIN || error == EINTR || error == EIO;
        return passing && ++failures_ < most_failures ? S_FALSE : ResultFromErrno(error);
    }
    if (buffer.index >= buffers_.size()) return E_UNEXPECTED;
    failures_ = 0;
    picture.data = buffers_[buffer.index].data();
    picture.size = std::min<std::size_t>(buffer.bytesused, buffers_[buffer.index].size());
    picture.sequence = buffer.sequence;
    picture.damaged = (buffer.flags & V4L2_BUF_FLAG_ERROR) != 0;
    picture.buffer = buffer.index;
    picture.time = std::int64_t{buffer.timestamp.tv_sec} * 10'000'000 +
                   std::int64_t{buffer.timestamp.tv_usec} * 10;
    if ((buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) != V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC) {
        // The stamp is of a clock that nobody else reads.
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        picture.time = std::int64_t{now.tv_sec} * 10'000'000 + now.tv_nsec / 100;
    }
    return S_OK;
}

void V4l2Node::Return(const V4l2Picture& picture) {
    v4l2_buffer buffer{};
    buffer.type = capture;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = picture.buffer;
    // A device that is gone says so at the next wait.
    Call(VIDIOC_QBUF, &buffer);
}

void V4l2Node::Wake() {
    const std::uint64_t one = 1;
    // Fails only if it is awake already.
    static_cast<void>(!write(wake_.Get(), &one, sizeof one));
}

}  // namespace Vimbrel

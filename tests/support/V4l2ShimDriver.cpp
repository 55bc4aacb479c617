// How the driver of a test's camera answers the calls.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <tuple>

#include "tests/support/V4l2Shim.h"

namespace Vimbrel::test {

using State = ShimCamera::State;

void FitShim(State& state) {
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

namespace {

int Fail(int error) {
    errno = error;
    return -1;
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

// A driver answers with what it sets, or would set, instead.
int SetFormat(State& state, v4l2_pix_format& wanted, bool keep) {
    if (state.streaming && keep) return Fail(EBUSY);
    auto current = std::tie(state.pixel_format, state.width, state.height, state.bytes_per_line,
                            state.image_size);
    const std::tuple before = {state.pixel_format, state.width, state.height, state.bytes_per_line,
                               state.image_size};
    const ShimFormat* const format = FindFormat(state, wanted.pixelformat);
    if (format && !state.refuses) {
        for (const ShimSize& each : format->sizes) {
            if (!state.adjusts && (each.width != wanted.width || each.height != wanted.height))
                continue;
            state.pixel_format = wanted.pixelformat;
            state.width = each.width;
            state.height = each.height;
            FitShim(state);
            break;
        }
    }
    WriteFormat(state, wanted);
    if (!keep) current = before;
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

}  // namespace

int AnswerShim(State& state, unsigned long request, void* argument) {
    const std::lock_guard guard(state.lock);
    if (state.unplugged) return Fail(ENODEV);
    if (request == state.fails) return Fail(EIO);
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
            return SetFormat(state, static_cast<v4l2_format*>(argument)->fmt.pix, true);
        case VIDIOC_TRY_FMT:
            return SetFormat(state, static_cast<v4l2_format*>(argument)->fmt.pix, false);
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

}  // namespace Vimbrel::test

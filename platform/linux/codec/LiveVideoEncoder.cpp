#include "platform/linux/codec/LiveVideoEncoder.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <climits>
#include <string>

namespace Vimbrel {
namespace {

// One slice and one thread: more threads mean either slices or a frame of delay each. No lookahead,
// no frames out of order, and key frames only where they were asked for.
std::string LibX264Options(UINT level) {
    std::string options =
        "bframes=0:rc-lookahead=0:sync-lookahead=0:mbtree=0:force-cfr=1:sliced-threads=0:slices=1:"
        "threads=1:scenecut=0:repeat-headers=1:annexb=1";
    if (level != 0) options += ":level=" + std::to_string(level);
    return options;
}

// libavcodec accepts no other profile by its number.
UINT KnownProfile(UINT profile) {
    return H264ProfileName(profile) != nullptr ? profile : FF_PROFILE_H264_MAIN;
}

}  // namespace

HRESULT LiveVideoEncoder::Open(const LiveVideoSettings& settings, const HardwareEncoder* hardware) {
    if (settings.width == 0 || settings.height == 0 || settings.width % 2 != 0 ||
        settings.height % 2 != 0)
        return E_INVALIDARG;
    if (settings.fps_num == 0 || settings.fps_den == 0 || settings.bit_rate == 0 ||
        settings.bit_rate > INT_MAX)
        return E_INVALIDARG;
    packet_ = nullptr;
    frames_ = 0;
    frame_.reset(av_frame_alloc());
    if (!frame_) return E_OUTOFMEMORY;
    return codec_.Open(
        {.width = settings.width,
         .height = settings.height,
         .fps_num = settings.fps_num,
         .fps_den = settings.fps_den,
         .time_base = {static_cast<int>(settings.fps_den), static_cast<int>(settings.fps_num)},
         .bit_rate = settings.bit_rate,
         .profile = KnownProfile(settings.profile),
         .level = settings.level,
         .key_interval = settings.key_interval,
         .matrix = MatrixForSize(settings.width, settings.height),
         .software_format = AV_PIX_FMT_NV12,
         .quality_percent = settings.quality_percent,
         .without_delay = true,
         .x264_options = LibX264Options(settings.level)},
        hardware);
}

// Refers to the caller's bytes.
bool LiveVideoEncoder::FillInterleaved(std::uint8_t* nv12) {
    const std::ptrdiff_t width = frame_->width;
    const std::ptrdiff_t height = frame_->height;
    frame_->format = AV_PIX_FMT_NV12;
    // A buffer without an owner: libavcodec would copy a frame that has none. libx264 has its own
    // copy when it returns.
    frame_->buf[0] = av_buffer_create(
        nv12, static_cast<std::size_t>(width * height / 2 * 3), [](void*, std::uint8_t*) {},
        nullptr, AV_BUFFER_FLAG_READONLY);
    if (!frame_->buf[0]) return false;
    frame_->data[0] = nv12;
    frame_->data[1] = nv12 + width * height;
    frame_->linesize[0] = frame_->linesize[1] = frame_->width;
    return true;
}

bool LiveVideoEncoder::FillPlanes(const std::uint8_t* nv12) {
    const std::ptrdiff_t width = frame_->width;
    const std::ptrdiff_t height = frame_->height;
    frame_->format = AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(frame_.get(), 0) < 0) return false;
    av_image_copy_plane(frame_->data[0], frame_->linesize[0], nv12, frame_->width, frame_->width,
                        frame_->height);
    for (std::ptrdiff_t y = 0; y < height / 2; ++y) {
        const std::uint8_t* both = nv12 + width * (height + y);
        for (std::ptrdiff_t x = 0; x < width / 2; ++x) {
            frame_->data[1][y * frame_->linesize[1] + x] = both[2 * x];
            frame_->data[2][y * frame_->linesize[2] + x] = both[2 * x + 1];
        }
    }
    return true;
}

HRESULT LiveVideoEncoder::Encode(const std::uint8_t* nv12) {
    packet_ = nullptr;
    av_frame_unref(frame_.get());
    frame_->width = codec_.Context().width;
    frame_->height = codec_.Context().height;
    const bool filled = codec_.InputFormat() == AV_PIX_FMT_YUV420P
                            ? FillPlanes(nv12)
                            : FillInterleaved(const_cast<std::uint8_t*>(nv12));
    if (!filled) return E_OUTOFMEMORY;
    // Frames are counted: the application's times may stand still or leap, which rate control must
    // not see.
    frame_->pts = frames_++;
    const HRESULT hr = codec_.Send(frame_.get());
    return SUCCEEDED(hr) ? codec_.Receive(packet_) : hr;
}

std::span<const std::uint8_t> LiveVideoEncoder::AccessUnit() const {
    if (packet_ == nullptr) return {};
    return {packet_->data, static_cast<std::size_t>(packet_->size)};
}

}  // namespace Vimbrel

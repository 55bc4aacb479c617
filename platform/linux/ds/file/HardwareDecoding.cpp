#include "platform/linux/ds/file/HardwareDecoding.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/ffmpeg/FfmpegLog.h"
#include "vimbrel/AppLog.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace Vimbrel {

namespace {

constexpr AVHWDeviceType device_kind = AV_HWDEVICE_TYPE_VAAPI;
// Besides those of the codec: the picture that may be the first one after a seek, and its
// successor.
constexpr int held_pictures = 2;
constexpr std::size_t most_kept_bytes = std::size_t{64} << 20;

// The node that is to be used, or "none".
const char* NamedNode() {
    const char* const name = std::getenv("VIMBREL_DECODING_DEVICE");
    return name && *name ? name : nullptr;
}

std::vector<std::string> RenderNodes() {
    std::vector<std::string> nodes;
    std::error_code error;
    for (std::filesystem::directory_iterator at("/dev/dri", error), end; !error && at != end;
         at.increment(error)) {
        if (at->path().filename().string().starts_with("renderD"))
            nodes.push_back(at->path().string());
    }
    std::sort(nodes.begin(), nodes.end());
    return nodes;
}

bool KnowsDevices(const AVCodec& codec) {
    for (int i = 0;; ++i) {
        const AVCodecHWConfig* const config = avcodec_get_hw_config(&codec, i);
        if (!config) return false;
        if (config->device_type == device_kind &&
            (config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) != 0)
            return true;
    }
}

}  // namespace

bool HardwareDecoding::OpenNode(const std::string& node) {
    const FfmpegLogScope log;
    AVBufferRef* made = nullptr;
    const int error = av_hwdevice_ctx_create(&made, device_kind, node.c_str(), nullptr, 0);
    if (error < 0) {
        const HRESULT hr = ResultFromFfmpeg(error, "open the decoding device");
        const auto level =
            NamedNode() ? HalvorixAppLog::LOG_LEVEL_WARN : HalvorixAppLog::LOG_LEVEL_TRACE;
        APPLOG_FORMAT(level, "Decoding device %s failed - 0x%08X", node.c_str(),
                      static_cast<unsigned>(hr));
        return false;
    }
    device_.reset(made);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "Decoding device: " << node);
    return true;
}

bool HardwareDecoding::OpenDevice() {
    if (device_) return true;
    if (const char* const named = NamedNode())
        return std::string_view(named) != "none" && OpenNode(named);
    for (const std::string& node : RenderNodes()) {
        if (OpenNode(node)) return true;
    }
    return false;
}

bool HardwareDecoding::SetUp(AVCodecContext& codec) {
    DropKept();
    if (failed_ || !KnowsDevices(*codec.codec) || !OpenDevice()) return false;
    codec.hw_device_ctx = av_buffer_ref(device_.get());
    if (!codec.hw_device_ctx) return false;
    codec.opaque = this;
    codec.get_format = Choose;
    codec.extra_hw_frames = held_pictures;
    // The device works in parallel by itself; threads would only hold back pictures.
    codec.thread_count = 1;
    return true;
}

AVPixelFormat HardwareDecoding::Choose(AVCodecContext* codec, const AVPixelFormat* formats) {
    for (const AVPixelFormat* each = formats; *each != AV_PIX_FMT_NONE; ++each) {
        if (*each == AV_PIX_FMT_VAAPI) return *each;
    }
    // What the device refused is not offered again.
    static_cast<HardwareDecoding*>(codec->opaque)->Fail(VFW_E_TYPE_NOT_ACCEPTED, "take the stream");
    return avcodec_default_get_format(codec, formats);
}

void HardwareDecoding::Fail(HRESULT hr, const char* step) {
    if (failed_) return;
    failed_ = true;
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN,
                  "The decoding device cannot %s, the processor decodes - 0x%08X", step,
                  static_cast<unsigned>(hr));
}

bool HardwareDecoding::OnError(int error) {
    if (!device_ || error == AVERROR_INVALIDDATA || error == AVERROR(ENOMEM)) return false;
    if (!failed_) Fail(ResultFromFfmpeg(error, "decode on the device"), "decode");
    return true;
}

AVFrame* HardwareDecoding::Fetch(AVFrame& frame) {
    if (frame.format != AV_PIX_FMT_VAAPI) return &frame;
    // The codec on the processor makes the pictures anew.
    if (failed_) return nullptr;
    const FfmpegLogScope log;
    av_frame_unref(fetched_.get());
    int error = av_hwframe_transfer_data(fetched_.get(), &frame, 0);
    if (error >= 0) error = av_frame_copy_props(fetched_.get(), &frame);
    if (error >= 0) return fetched_.get();
    Fail(ResultFromFfmpeg(error, "fetch a picture from the device"), "deliver a picture");
    return nullptr;
}

void HardwareDecoding::Keep(const AVPacket& packet) {
    if (!IsOn()) return;
    const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (key) {
        // Pictures from before the last key picture may still be on their way.
        for (; last_key_ > 0; --last_key_) {
            kept_bytes_ -= static_cast<std::size_t>(kept_.front()->size);
            kept_.pop_front();
        }
        last_key_ = kept_.size();
    }
    if (kept_.empty() && !key) return;
    FfmpegPtr<AVPacket> copy(av_packet_clone(&packet));
    kept_bytes_ += static_cast<std::size_t>(packet.size);
    if (!copy || kept_bytes_ > most_kept_bytes) return DropKept();
    kept_.push_back(std::move(copy));
}

void HardwareDecoding::DropKept() {
    kept_.clear();
    kept_bytes_ = 0;
    last_key_ = 0;
}

std::deque<FfmpegPtr<AVPacket>> HardwareDecoding::TakeKept() {
    std::deque<FfmpegPtr<AVPacket>> taken = std::move(kept_);
    DropKept();
    device_.reset();
    return taken;
}

}  // namespace Vimbrel

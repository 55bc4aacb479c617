#include "platform/linux/ds/file/VideoDecoder.h"

#include <algorithm>
#include <limits>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

constexpr LONG buffers = 3;

bool IsTooLarge(int width, int height) {
    return width <= 0 || height <= 0 ||
           static_cast<std::int64_t>(width) * height * 4 > std::numeric_limits<LONG>::max();
}

}  // namespace

VideoDecoder::VideoDecoder()
    : DecoderFilter(class_video_decoder, AVMEDIA_TYPE_VIDEO), settings_(*this) {}

void* VideoDecoder::FindInterface(REFIID iid) {
    if (iid == iid_video_decoder_settings) return static_cast<IVideoDecoderSettings*>(&settings_);
    return DecoderFilter::FindInterface(iid);
}

bool VideoDecoder::IsForMe(const CMediaType& type) const {
    return type.majortype == MEDIATYPE_Video;
}

void VideoDecoder::Prepare(AVCodecContext& codec) {
    if (!IsLive() && hardware_.SetUp(codec)) return;
#if defined(__SANITIZE_THREAD__)
    // FFmpeg's frame threads free buffers in a way that the sanitizer takes for a race.
    codec.thread_count = 1;
#else
    codec.thread_count = 0;
#endif
    if (!IsLive()) return;
    // Threads for whole pictures hold back as many pictures as there are threads.
    codec.thread_type = FF_THREAD_SLICE;
    // The rest of a picture that breaks off would be that of an earlier one.
    if (codec.codec_id == AV_CODEC_ID_MJPEG) codec.err_recognition |= AV_EF_EXPLODE;
}

void VideoDecoder::Begin() {
    hardware_.DropKept();
    covered_ = false;
    shown_until_ = std::numeric_limits<REFERENCE_TIME>::min();
    holds_ = false;
    next_start_ = 0;
    latest_early_ = std::numeric_limits<REFERENCE_TIME>::min();
    av_frame_unref(held_.get());
}

// A picture is not the one that covers the target if another one begins after it and not after the
// target. Where no picture refers to it either, decoding it is a waste.
void VideoDecoder::Announce(const AVPacket& packet) {
    const bool early = !covered_ && packet.pts != AV_NOPTS_VALUE && packet.pts <= 0;
    Codec().skip_frame = early && packet.pts < latest_early_ ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    if (early) latest_early_ = std::max<REFERENCE_TIME>(latest_early_, packet.pts);
    hardware_.Keep(packet);
}

// What the device did not decode is decoded again without it.
HRESULT VideoDecoder::Settle(bool at_end) {
    HRESULT hr = at_end ? Finish() : S_OK;
    if (hr != S_OK || !hardware_.MustReopen()) return hr;
    const bool covered = covered_;
    const auto packets = hardware_.TakeKept();
    hr = OpenCodec();
    if (FAILED(hr)) return hr;
    covered_ = covered;
    if (covered) shown_until_ = last_shown_;
    for (const FfmpegPtr<AVPacket>& packet : packets) {
        hr = Send(packet.get());
        if (hr != S_OK) return hr;
    }
    return at_end ? Send(nullptr) : S_OK;
}

PictureLayout VideoDecoder::ExpectedLayout() const {
    const AVCodecParameters& parameters = *Stream().parameters;
    const PictureColors colors{static_cast<AVPixelFormat>(parameters.format),
                               parameters.color_space, parameters.color_range};
    return PictureOutput::Choose(colors, parameters.width, parameters.height, Stream().rotation);
}

std::vector<CMediaType> VideoDecoder::OutputTypes() {
    if (!HasStream()) return {};
    const PictureLayout layout = ExpectedLayout();
    if (IsTooLarge(layout.width, layout.height)) return {};
    return {layout.Type(Stream().frame_time)};
}

HRESULT VideoDecoder::CheckOutput(const CMediaType& type) {
    for (const CMediaType& each : OutputTypes()) {
        if (each == type) return S_OK;
    }
    return VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT VideoDecoder::DecideBuffers(const CMediaType& type, ALLOCATOR_PROPERTIES& properties) {
    layout_ = ExpectedLayout();
    layout_changed_ = false;
    properties.cBuffers = std::max(properties.cBuffers, buffers);
    properties.cbBuffer = static_cast<LONG>(type.lSampleSize);
    return S_OK;
}

REFERENCE_TIME VideoDecoder::FrameTime() const {
    const REFERENCE_TIME time = Stream().frame_time > 0 ? Stream().frame_time : 400'000;
    return static_cast<REFERENCE_TIME>(static_cast<double>(time) / Rate());
}

HRESULT VideoDecoder::Deliver(AVFrame& frame) {
    const bool timed = frame.best_effort_timestamp != AV_NOPTS_VALUE;
    const REFERENCE_TIME lasts = frame.pkt_duration > 0 ? frame.pkt_duration : FrameTime();
    REFERENCE_TIME start = timed ? frame.best_effort_timestamp : next_start_;
    // A time of decoding is that of the packet with which the picture came out, later by the
    // pictures that are held back for their order.
    if (timed && !HasShownTimes()) start -= Codec().has_b_frames * lasts;
    next_start_ = start + lasts;
    if (start <= shown_until_) return S_OK;
    if (covered_) return Show(frame, start, start + lasts);
    HRESULT hr = S_OK;
    // The next picture's start tells where one ends; durations are often wrong.
    if (holds_ && start > 0) hr = Finish();
    if (hr != S_OK) return hr;
    if (start < 0) {
        av_frame_unref(held_.get());
        av_frame_move_ref(held_.get(), &frame);
        holds_ = true;
        held_start_ = start;
        held_end_ = start + lasts;
        return S_OK;
    }
    holds_ = false;
    return Show(frame, start, start + lasts);
}

HRESULT VideoDecoder::Finish() {
    if (!holds_) return S_OK;
    holds_ = false;
    return Show(*held_, held_start_, held_end_);
}

HRESULT VideoDecoder::Show(AVFrame& decoded, REFERENCE_TIME start, REFERENCE_TIME end) {
    AVFrame* const fetched = hardware_.Fetch(decoded);
    if (!fetched) return S_OK;
    const AVFrame& frame = *fetched;
    covered_ = true;
    last_shown_ = start;
    if (StreamStop() >= 0 && start >= StreamStop()) return S_OK;
    if (IsTooLarge(frame.width, frame.height)) return S_OK;
    const PictureColors colors{static_cast<AVPixelFormat>(frame.format), frame.colorspace,
                               frame.color_range};
    HRESULT hr = Adopt(PictureOutput::Choose(colors, frame.width, frame.height, Stream().rotation));
    if (FAILED(hr)) return hr;
    ComPtr<IMediaSample> sample;
    hr = Output().GetDeliveryBuffer(sample.Put());
    if (FAILED(hr)) return hr;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    if (!data || sample->GetSize() < layout_.Bytes()) return VFW_E_BUFFER_OVERFLOW;
    hr = output_pictures_.Write(frame, layout_, data);
    if (FAILED(hr)) return hr;
    sample->SetActualDataLength(layout_.Bytes());
    sample->SetTime(&start, &end);
    sample->SetSyncPoint(TRUE);
    if (layout_changed_) {
        CMediaType type = layout_.Type(Stream().frame_time);
        sample->SetMediaType(&type);
        layout_changed_ = false;
    }
    return Output().Send(sample.Get());
}

HRESULT VideoDecoder::Adopt(const PictureLayout& layout) {
    if (layout == layout_) return S_OK;
    const CMediaType type = layout.Type(Stream().frame_time);
    const ComPtr<IPin> peer = Output().Peer();
    if (!peer || peer->QueryAccept(&type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
    const HRESULT hr = Enlarge(layout.Bytes());
    if (FAILED(hr)) return hr;
    layout_ = layout;
    layout_changed_ = true;
    return S_OK;
}

// No sample is out: the receiver has returned the last one.
HRESULT VideoDecoder::Enlarge(LONG bytes) {
    IMemAllocator* const allocator = Output().Allocator();
    ALLOCATOR_PROPERTIES properties{};
    HRESULT hr = allocator ? allocator->GetProperties(&properties) : VFW_E_NO_ALLOCATOR;
    if (FAILED(hr) || properties.cbBuffer >= bytes) return hr;
    properties.cbBuffer = bytes;
    ALLOCATOR_PROPERTIES actual{};
    allocator->Decommit();
    hr = allocator->SetProperties(&properties, &actual);
    if (SUCCEEDED(hr)) hr = allocator->Commit();
    if (FAILED(hr) || State() != State_Stopped) return hr;
    // A stop that came meanwhile has decommitted too early to be the last.
    allocator->Decommit();
    return VFW_E_NOT_COMMITTED;
}

HRESULT CreateVideoDecoder(REFIID iid, void** object) {
    ComPtr<VideoDecoder> decoder;
    decoder.Attach(new VideoDecoder);
    return decoder->QueryInterface(iid, object);
}

}  // namespace Vimbrel

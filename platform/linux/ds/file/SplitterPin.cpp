#include "platform/linux/ds/file/SplitterPin.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/linux/ds/file/PacketSample.h"
#include "platform/linux/ds/file/SplitterSource.h"

namespace Vimbrel {

namespace {

constexpr std::int64_t second = 10'000'000;

// In bits per second.
DWORD RateOf(std::int64_t bytes, std::int64_t time) {
    const double rate =
        time > 0 ? static_cast<double>(bytes) * 8 * second / static_cast<double>(time) : 0;
    return static_cast<DWORD>(std::min<double>(rate, std::numeric_limits<DWORD>::max()));
}

const wchar_t* NameOf(StreamKind kind) {
    constexpr const wchar_t* names[] = {L"Video", L"Audio", L"Subtitle"};
    return names[static_cast<int>(kind)];
}

// From media time to stream time.
void Move(AVPacket& packet, const Segment& segment) {
    const auto scale = [&](std::int64_t time) {
        return segment.rate == 1.0 ? time : std::llround(static_cast<double>(time) / segment.rate);
    };
    if (packet.pts != AV_NOPTS_VALUE) packet.pts = scale(packet.pts - segment.start);
    if (packet.dts != AV_NOPTS_VALUE) packet.dts = scale(packet.dts - segment.start);
    packet.duration = scale(packet.duration);
}

}  // namespace

StreamDescription SplitterPin::CodecStream::Describe() { return pin_.Chosen().description; }

void SplitterPin::Bitrate::Restart(std::int64_t declared) {
    current_ = average_ = static_cast<DWORD>(declared);
    bytes_ = window_bytes_ = 0;
    first_ = window_start_ = AV_NOPTS_VALUE;
}

void SplitterPin::Bitrate::Count(const AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) return;
    if (first_ == AV_NOPTS_VALUE) first_ = window_start_ = packet.dts;
    const std::int64_t window = packet.dts - window_start_;
    if (window >= second) {
        current_ = RateOf(window_bytes_, window);
        average_ = RateOf(bytes_, packet.dts - first_);
        window_bytes_ = 0;
        window_start_ = packet.dts;
    }
    bytes_ += packet.size;
    window_bytes_ += packet.size;
}

SplitterPin::SplitterPin(SplitterSource& source, StreamKind kind, int stream)
    : CBaseOutputPin(source, NameOf(kind)),
      source_(source),
      kind_(kind),
      stream_(stream),
      codec_stream_(*this),
      bitrate_(*this),
      seeking_(*this, source) {}

void* SplitterPin::FindInterface(REFIID iid) {
    if (iid == __uuidof(IMediaSeeking)) return static_cast<IMediaSeeking*>(&seeking_);
    if (iid == __uuidof(ICodecStream)) return static_cast<ICodecStream*>(&codec_stream_);
    if (iid == iid_bit_rate_info) return static_cast<IBitRateInfo*>(&bitrate_);
    return CBaseOutputPin::FindInterface(iid);
}

const MediaStream& SplitterPin::Chosen() const { return source_.Stream(stream_); }

HRESULT SplitterPin::CheckMediaType(const CMediaType* type) {
    return *type == TypeOfStream(Chosen().description) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

std::vector<CMediaType> SplitterPin::OfferedTypes() { return {TypeOfStream(Chosen().description)}; }

HRESULT SplitterPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
    properties->cBuffers = 1;
    properties->cbBuffer = 1;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(properties, &actual);
}

void SplitterPin::Choose(int stream) {
    stream_ = stream;
    changed_ = true;
}

void SplitterPin::Start(PacketQueue& queue, std::size_t lane, const Segment& segment) {
    bitrate_.Restart(Chosen().description.parameters->bit_rate);
    thread_ = std::thread([this, &queue, lane, segment] { Run(queue, lane, segment); });
}

void SplitterPin::Join() {
    if (thread_.joinable()) thread_.join();
}

void SplitterPin::Run(PacketQueue& queue, std::size_t lane, Segment segment) {
    DeliverNewSegment(segment.start, segment.stop, segment.rate);
    bool first = true;
    HRESULT hr = S_OK;
    while (hr == S_OK) {
        FfmpegPtr<AVPacket> packet;
        const PacketQueue::Result result = queue.Pop(lane, packet);
        if (result == PacketQueue::Result::aborted) return;
        // Packets come in the order of decoding: those shown before the stop may follow one that
        // is shown after it, but none that is decoded after it.
        const bool over =
            result == PacketQueue::Result::end ||
            (segment.stop >= 0 && packet->dts != AV_NOPTS_VALUE && packet->dts >= segment.stop);
        if (over) {
            DeliverEndOfStream();
            break;
        }
        bitrate_.Count(*packet);
        hr = Send(std::move(packet), segment, first);
        first = false;
        // Nothing follows a cover, whose picture must not wait for the end of the sound.
        if (hr == S_OK && Chosen().cover) {
            DeliverEndOfStream();
            break;
        }
    }
    queue.Close(lane);
    const bool stopped = hr == S_FALSE || hr == VFW_E_WRONG_STATE || hr == VFW_E_NOT_COMMITTED;
    if (FAILED(hr) && !stopped) source_.ReportFailure(hr);
}

HRESULT SplitterPin::Send(FfmpegPtr<AVPacket> packet, const Segment& segment, bool first) {
    Move(*packet, segment);
    const ComPtr<PacketSample> sample = MakeCom<PacketSample>(std::move(packet));
    sample->SetDiscontinuity(first);
    if (first && changed_) {
        CMediaType type = TypeOfStream(Chosen().description);
        sample->SetMediaType(&type);
    }
    const HRESULT hr = Deliver(sample.Get());
    // A sample that a flush refused has told nothing: the next run begins with the type again.
    if (hr == S_OK) changed_ = false;
    return hr;
}

}  // namespace Vimbrel

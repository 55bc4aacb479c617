#include "Source/cast/CRTMPCastImpl.h"

#include <mmreg.h>
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <system_error>
#include <utility>

#include "Source/cast/RtmpMetadata.h"
#include "base/Clock.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {
namespace {

constexpr std::uint32_t standard_chunk_size = 4096;
constexpr std::int64_t ticks_per_ms = 10'000;

// Profile, compatibility and level stand behind a start code of 4 bytes and the unit's type.
constexpr std::size_t least_sps_size = 8;
constexpr std::size_t least_pps_size = 5;

ByteSpan Bytes(const encoded_frame& frame) {
    return {frame.data, static_cast<std::size_t>(std::max(frame.size, 0))};
}

std::unique_ptr<std::uint8_t[]> Uninitialized(std::size_t size) {
    return std::make_unique_for_overwrite<std::uint8_t[]>(size);
}

}  // namespace

CMediaRTMPCast::CMediaRTMPCast() = default;
CMediaRTMPCast::CMediaRTMPCast(const CMediaRTMPCast&) = default;
CMediaRTMPCast& CMediaRTMPCast::operator=(const CMediaRTMPCast&) = default;
CMediaRTMPCast::~CMediaRTMPCast() = default;

std::unique_ptr<CMediaRTMPCast> CreateRTMPCast() { return CreateRTMPCast(RTMPCastOptions()); }

std::unique_ptr<CMediaRTMPCast> CreateRTMPCast(const RTMPCastOptions& options) {
    return std::make_unique<CRTMPCastImpl>(options);
}

CRTMPCastImpl::CRTMPCastImpl(const RTMPCastOptions& options)
    : framing(options.framing),
      progress(options.progress ? options.progress : std::make_shared<RTMPCastProgress>()),
      send_started(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    aac.dispatcher = this;
    h264.dispatcher = this;
}

CRTMPCastImpl::~CRTMPCastImpl() {
    CRTMPCastImpl::Stop();
    // A thread that ended by itself, and may still be in the callback.
    if (send_thread.joinable()) send_thread.join();
    CloseHandle(send_started);
}

void CRTMPCastImpl::SetServer(const std::string& target, const std::string& user_name,
                              const std::string& pass) {
    url = target;
    user = user_name;
    password = pass;
}

void CRTMPCastImpl::SetHardwareEncoder(bool enabled) {
    aac.hardware = enabled;
    h264.hardware = enabled;
}

void CRTMPCastImpl::SetVideoOutputFormat(int width, int height, int frame_rate_num,
                                         int frame_rate_den) {
    h264.width = width;
    h264.height = height;
    h264.frame_rate_num = static_cast<std::uint32_t>(frame_rate_num);
    h264.frame_rate_den = static_cast<std::uint32_t>(frame_rate_den);
}

// The application's scale rises with the picture's quality, the encoder's falls.
void CRTMPCastImpl::SetVideoQuality(int quality) {
    h264.quality = 1;
    if (quality == 2) h264.quality = 0;
    if (quality == 0) h264.quality = 2;
}

void CRTMPCastImpl::SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) {
    if (sample_rate == 0 || channels == 0) return;
    WAVEFORMATEX& format = aac.format;
    format.nSamplesPerSec = sample_rate == 48000 ? 48000 : 44100;
    format.wBitsPerSample = 16;
    const auto low_channels = static_cast<std::uint16_t>(channels);
    format.nChannels = low_channels == 1 || low_channels == 6 ? low_channels : 2;
    format.nBlockAlign = static_cast<std::uint16_t>(format.nChannels * 2);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    const bool known = bytes_per_second == 12000 || bytes_per_second == 16000 ||
                       bytes_per_second == 20000 || bytes_per_second == 24000;
    aac.bytes_per_second = known ? static_cast<std::uint32_t>(bytes_per_second) : 16000;
}

void CRTMPCastImpl::SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) {
    if ((format.cbSize == 0) != (extra == nullptr)) return;
    auto change = std::make_unique<live_encoder_aac::packet_audio_changing>();
    change->format = format;
    if (extra != nullptr) {
        change->extra = Uninitialized(format.cbSize);
        std::memcpy(change->extra.get(), extra, format.cbSize);
    }
    std::unique_ptr<live_encoder::packet> packet = std::move(change);
    aac.post(packet);
}

int CRTMPCastImpl::Start() {
    // They start once, so that a second call ends here.
    if (!aac.start() || !h264.start()) return RTMPCAST_ENCODER_FAILED;
    bit_rate.Reset();
    try {
        send_thread = std::thread([this] { SendFrames(); });
    } catch (const std::system_error&) {
        // There is no result for this: the wait below has no end. That is meant.
    }
    WaitForSingleObject(send_started, INFINITE);
    return status;
}

void CRTMPCastImpl::StopEncoders() {
    aac.stop();
    h264.stop();
}

void CRTMPCastImpl::Stop() {
    StopEncoders();
    // After a lost link the thread has ended by itself, or is about to.
    if (!send_thread.joinable() || !connected) return;
    encoded_frame_ptr last = make_encoded_frame(encoded_frame::type_stop, nullptr, 0);
    dispatch(last);
    send_thread.join();
}

void CRTMPCastImpl::SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                                   std::int64_t time) {
    if (!connected || stride < 1 || data == nullptr) return;
    auto frame = std::make_unique<live_encoder_h264::packet_video>();
    frame->width = width;
    frame->height = height;
    frame->time = time;
    const std::size_t row = std::size_t{4} * width;
    frame->data = Uninitialized(row * height);
    // Turned upside down: the encoder's input has the bottom row first.
    for (std::size_t y = 0; y < height; ++y) {
        std::memcpy(frame->data.get() + row * (height - 1 - y),
                    data + static_cast<std::size_t>(stride) * y, row);
    }
    std::unique_ptr<live_encoder::packet> packet = std::move(frame);
    ++progress->taken;
    h264.post(packet);
    progress->dropped = h264.dropped.load();
}

void CRTMPCastImpl::SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                   std::int64_t duration, unsigned flags) {
    if (!connected || !audio_enabled || size < 1 || data == nullptr) return;
    auto block = std::make_unique<live_encoder_aac::packet_audio>();
    block->data = Uninitialized(static_cast<std::size_t>(size));
    std::memcpy(block->data.get(), data, static_cast<std::size_t>(size));
    block->size = size;
    block->time = time;
    block->duration = duration;
    block->flags = flags;
    std::unique_ptr<live_encoder::packet> packet = std::move(block);
    aac.post(packet);
}

void CRTMPCastImpl::dispatch(encoded_frame_ptr& frame) {
    if (frame->type == encoded_frame::type_aac)
        frame->time = Clock::Current().TimeMilliseconds() * ticks_per_ms;
    std::deque<encoded_frame_ptr> dropped;
    {
        const std::lock_guard lock(mutex);
        if (frame->type == encoded_frame::type_stop) dropped.swap(send_queue);
        send_queue.push_back(std::move(frame));
        queue_changed.notify_all();
    }
}

int CRTMPCastImpl::Connect() {
    int result = session.Connect(url, user, password);
    if (result == RTMPCAST_OK && IsStandard() &&
        !(session.SetChunkSize(standard_chunk_size) && SendMetadata())) {
        result = RTMPCAST_STREAM_FAILED;
    }
    if (result == RTMPCAST_OK) return result;
    StopEncoders();
    session.Close();
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_ERROR, "RTMP on_start failed: " << result);
    return result;
}

encoded_frame_ptr CRTMPCastImpl::NextFrame() {
    std::unique_lock lock(mutex);
    queue_changed.wait(lock, [this] { return !send_queue.empty(); });
    encoded_frame_ptr frame = std::move(send_queue.front());
    send_queue.pop_front();
    return frame;
}

void CRTMPCastImpl::SendFrames() {
    status = Connect();
    const bool streaming = status == RTMPCAST_OK;
    // Before the start is told of, so that the first sample behind it is not ignored.
    connected = streaming;
    SetEvent(send_started);
    if (!streaming) return;
    for (;;) {
        const encoded_frame_ptr frame = NextFrame();
        if (frame->type == encoded_frame::type_stop || !Process(*frame)) break;
    }
    session.Close();
    connected = false;
    if (status != RTMPCAST_OK && callback) callback(status);
}

bool CRTMPCastImpl::Process(const encoded_frame& frame) {
    if (!session.IsAlive()) {
        StopEncoders();
        status = RTMPCAST_CONNECTION_FAILED;
        return false;
    }
    return frame.type == encoded_frame::type_aac ? SendAac(frame) : SendVideo(frame);
}

bool CRTMPCastImpl::SendAac(const encoded_frame& frame) {
    // In the standard framing not the time of sending: where that is held up, all of the sound that
    // waited would get the time at which the network went on, and the picture its own.
    const auto now = [&] {
        return IsStandard() ? static_cast<std::uint32_t>(frame.time / ticks_per_ms)
                            : Clock::Current().TimeMilliseconds();
    };
    if (!audio_header_sent) {
        if (aac.audio_specific_config.empty()) return false;
        audio_time_base = now();
        RtmpMessage header;
        header.PutAacSequenceHeader(aac.audio_specific_config);
        if (session.Send(header, RTMP_PACKET_SIZE_LARGE, 0) != 1) return false;
        audio_header_sent = true;
    }
    const std::uint32_t clock = now() - audio_time_base;
    if (IsStandard()) {
        SendAacFrames(frame, clock);
    } else {
        SendAacMessage(Bytes(frame), clock);
    }
    return true;
}

// A lost link shows at the next frame.
void CRTMPCastImpl::SendAacMessage(ByteSpan frames, std::uint32_t time) {
    audio_buffer.PutAac(frames);
    session.Send(audio_buffer, RTMP_PACKET_SIZE_LARGE, time);
}

// Each frame of a long block has a message of its own, since receivers take a message for one
// frame. The clock says when the block was encoded, which comes in bursts where the application's
// blocks do. Frames follow one another by their length as long as that stays near the clock.
void CRTMPCastImpl::SendAacFrames(const encoded_frame& frame, double clock) {
    constexpr double samples_per_frame = 1024;
    constexpr double tolerance = 100;
    const double frame_duration = samples_per_frame * 1000 / aac.format.nSamplesPerSec;
    ByteSpan rest = Bytes(frame);
    for (const std::int32_t size : frame.aac_frame_sizes) {
        if (std::abs(audio_time - clock) > tolerance)
            audio_time = std::max(clock, audio_time - frame_duration + 1);
        SendAacMessage(rest.first(static_cast<std::size_t>(size)),
                       static_cast<std::uint32_t>(audio_time));
        rest = rest.subspan(static_cast<std::size_t>(size));
        audio_time += frame_duration;
        clock += frame_duration;
    }
}

bool CRTMPCastImpl::SendVideoHeader() {
    if (h264.sps.size() < least_sps_size || h264.pps.size() < least_pps_size) return false;
    RtmpMessage header;
    header.PutAvcSequenceHeader(h264.sps, h264.pps);
    // Sent as a difference to the message before, and a large one if that was sound. Meant for the
    // native framing.
    const std::uint8_t header_type =
        IsStandard() ? RTMP_PACKET_SIZE_LARGE : RTMP_PACKET_SIZE_MEDIUM;
    return session.Send(header, header_type, 0) != 0;
}

bool CRTMPCastImpl::SendVideo(const encoded_frame& frame) {
    // Single precision for the time, and double for the division. Both show on the wire, and are
    // meant.
    video_time = static_cast<std::uint32_t>(
        static_cast<std::int64_t>(double{static_cast<float>(frame.time)} / 10000.0));
    if (!video_header_sent) {
        if (!SendVideoHeader()) return false;
        video_header_sent = true;
    }
    if (frame.size < 1) return true;
    // A lost link shows at the next frame.
    const bool key = frame.key != 0;
    const bool sent = IsStandard() ? video_buffer.PutAccessUnit(Bytes(frame), key) &&
                                         SendVideoMessage(Bytes(frame).size())
                                   : SendPieces(Bytes(frame), key);
    if (sent) ++progress->sent;
    return true;
}

// Whether all of them went out.
bool CRTMPCastImpl::SendPieces(ByteSpan access_unit, bool key) {
    ByteSpan piece;
    bool sent = true;
    for (AccessUnitPieces pieces(access_unit); pieces.Next(piece);) {
        video_buffer.PutVideoPiece(piece, key);
        sent = SendVideoMessage(piece.size()) && sent;
    }
    return sent;
}

bool CRTMPCastImpl::SendVideoMessage(std::size_t counted_bytes) {
    if (session.Send(video_buffer, RTMP_PACKET_SIZE_LARGE, video_time) == 0) return false;
    bit_rate.Add(static_cast<std::int64_t>(counted_bytes), video_time);
    return true;
}

bool CRTMPCastImpl::SendMetadata() {
    StreamMetadata metadata;
    metadata.width = h264.width;
    metadata.height = h264.height;
    metadata.frames_per_second =
        static_cast<double>(h264.frame_rate_num) / std::max(h264.frame_rate_den, 1U);
    metadata.has_audio = audio_enabled;
    metadata.sample_rate = static_cast<double>(aac.format.nSamplesPerSec);
    metadata.stereo = aac.format.nChannels > 1;
    metadata.audio_bits_per_second = 8.0 * aac.bytes_per_second;
    RtmpMessage message;
    message.PutData(metadata.Encode());
    return session.Send(message, RTMP_PACKET_SIZE_LARGE, 0) == 1;
}

}  // namespace Vimbrel

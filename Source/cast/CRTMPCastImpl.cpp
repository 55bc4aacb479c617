#include "Source/cast/CRTMPCastImpl.h"

#include <mmreg.h>
#include <windows.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Vimbrel {
namespace {

constexpr std::size_t most_bytes = std::numeric_limits<std::ptrdiff_t>::max();

std::unique_ptr<std::uint8_t[]> Uninitialized(std::size_t size) {
    return std::make_unique_for_overwrite<std::uint8_t[]>(size);
}

std::unique_ptr<live_encoder::packet> FormatPacket(const WAVEFORMATEX& format,
                                                   const unsigned char* extra) {
    auto change = std::make_unique<live_encoder_aac::packet_audio_changing>();
    change->format = format;
    if (extra != nullptr) {
        change->extra = Uninitialized(format.cbSize);
        std::memcpy(change->extra.get(), extra, format.cbSize);
    }
    return change;
}

// Turned upside down: the encoder's input has the bottom row first. `row` is a row's bytes.
std::unique_ptr<live_encoder::packet> PicturePacket(const unsigned char* data, unsigned width,
                                                    unsigned height, std::size_t row,
                                                    std::size_t stride, std::int64_t time) {
    auto frame = std::make_unique<live_encoder_h264::packet_video>();
    frame->width = width;
    frame->height = height;
    frame->time = time;
    frame->data = Uninitialized(row * height);
    for (std::size_t y = 0; y < height; ++y)
        std::memcpy(frame->data.get() + row * (height - 1 - y), data + stride * y, row);
    return frame;
}

std::unique_ptr<live_encoder::packet> SoundPacket(const unsigned char* data, int size,
                                                  std::int64_t time, std::int64_t duration,
                                                  unsigned flags) {
    auto block = std::make_unique<live_encoder_aac::packet_audio>();
    block->data = Uninitialized(static_cast<std::size_t>(size));
    std::memcpy(block->data.get(), data, static_cast<std::size_t>(size));
    block->size = size;
    block->time = time;
    block->duration = duration;
    block->flags = flags;
    return block;
}

}  // namespace

CMediaRTMPCast::CMediaRTMPCast() = default;
CMediaRTMPCast::CMediaRTMPCast(const CMediaRTMPCast&) = default;
CMediaRTMPCast& CMediaRTMPCast::operator=(const CMediaRTMPCast&) = default;
CMediaRTMPCast::~CMediaRTMPCast() = default;

CRTMPCastImpl::CRTMPCastImpl(const RTMPCastOptions& options, PublishingSessionFactory factory)
    : progress(options.progress ? options.progress : std::make_shared<RTMPCastProgress>()),
      sender(encoders, options, progress, std::move(factory)) {
    encoders.aac.dispatcher = this;
    encoders.h264.dispatcher = this;
}

CRTMPCastImpl::~CRTMPCastImpl() { CRTMPCastImpl::Stop(); }

void CRTMPCastImpl::SetCallback(std::function<void(int)> function) {
    sender.SetCallback(std::move(function));
}

void CRTMPCastImpl::SetServer(const std::string& target, const std::string& user_name,
                              const std::string& pass) try {
    CastServer given{target, user_name, pass};
    server = std::move(given);
} catch (const std::bad_alloc&) {
}

void CRTMPCastImpl::SetHardwareEncoder(bool enabled) {
    encoders.aac.hardware = enabled;
    encoders.h264.hardware = enabled;
}

void CRTMPCastImpl::SetVideoOutputFormat(int width, int height, int frame_rate_num,
                                         int frame_rate_den) {
    live_encoder_h264& h264 = encoders.h264;
    h264.width = width;
    h264.height = height;
    h264.frame_rate_num = static_cast<std::uint32_t>(frame_rate_num);
    h264.frame_rate_den = static_cast<std::uint32_t>(frame_rate_den);
}

// The application's scale rises with the picture's quality, the encoder's falls.
void CRTMPCastImpl::SetVideoQuality(int quality) {
    encoders.h264.quality = 1;
    if (quality == 2) encoders.h264.quality = 0;
    if (quality == 0) encoders.h264.quality = 2;
}

void CRTMPCastImpl::SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) {
    if (sample_rate == 0 || channels == 0) return;
    WAVEFORMATEX& format = encoders.aac.format;
    format.nSamplesPerSec = sample_rate == 48000 ? 48000 : 44100;
    format.wBitsPerSample = 16;
    const auto low_channels = static_cast<std::uint16_t>(channels);
    format.nChannels = low_channels == 1 || low_channels == 6 ? low_channels : 2;
    format.nBlockAlign = static_cast<std::uint16_t>(format.nChannels * 2);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    const bool known = bytes_per_second == 12000 || bytes_per_second == 16000 ||
                       bytes_per_second == 20000 || bytes_per_second == 24000;
    encoders.aac.bytes_per_second = known ? static_cast<std::uint32_t>(bytes_per_second) : 16000;
}

void CRTMPCastImpl::SetAudioInputFormat(const WAVEFORMATEX& format,
                                        const unsigned char* extra) try {
    if ((format.cbSize == 0) != (extra == nullptr)) return;
    auto packet = FormatPacket(format, extra);
    encoders.aac.post(packet);
} catch (const std::bad_alloc&) {
}

int CRTMPCastImpl::Start() {
    // The encoders start once, so that a second call ends here.
    if (!encoders.Start()) return RTMPCAST_ENCODER_FAILED;
    return sender.Start(server, audio_enabled);
}

void CRTMPCastImpl::Stop() {
    encoders.Stop();
    sender.Stop();
}

void CRTMPCastImpl::SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                                   std::int64_t time) try {
    if (!sender.IsConnected() || stride < 1 || data == nullptr) return;
    const std::size_t row = std::size_t{4} * width;
    // No memory holds such a picture, and the size of some would wrap.
    if (height != 0 && row > most_bytes / height) return;
    auto packet = PicturePacket(data, width, height, row, static_cast<std::size_t>(stride), time);
    ++progress->taken;
    encoders.h264.post(packet);
    const std::uint64_t dropped = encoders.h264.dropped;
    progress->dropped += dropped - counted_drops.exchange(dropped);
} catch (const std::bad_alloc&) {
}

void CRTMPCastImpl::SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                   std::int64_t duration, unsigned flags) try {
    if (!sender.IsConnected() || !audio_enabled || size < 1 || data == nullptr) return;
    auto packet = SoundPacket(data, size, time, duration, flags);
    encoders.aac.post(packet);
} catch (const std::bad_alloc&) {
}

}  // namespace Vimbrel

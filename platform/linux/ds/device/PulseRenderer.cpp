#include "platform/linux/ds/device/PulseRenderer.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/StreamFormat.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

constexpr REFERENCE_TIME millisecond = 10'000;
constexpr double units = 10'000'000.0;
// Between taking a sample and its being heard: more than servers need.
constexpr REFERENCE_TIME lead = 250 * millisecond;
// Beyond this the sound jumps to its place; below it glides there.
constexpr REFERENCE_TIME most_error = 40 * millisecond;
// At once; what is missing beyond follows with the next sample.
constexpr REFERENCE_TIME most_silence = 1000 * millisecond;
constexpr REFERENCE_TIME correction_period = 500 * millisecond;
constexpr double most_correction = 0.005;
constexpr LONG silent = -10'000;

// Samples of 8 bits lie around 128.
template <class Sample>
void Scale(const void* from, std::size_t bytes, LONG level, std::vector<std::uint8_t>& scaled) {
    constexpr float zero = sizeof(Sample) == 1 ? 128.0f : 0.0f;
    const float factor = level <= silent ? 0.0f : std::pow(10.0f, static_cast<float>(level) / 2000);
    scaled.resize(bytes);
    const auto* const source = static_cast<const Sample*>(from);
    auto* const target = reinterpret_cast<Sample*>(scaled.data());
    for (std::size_t i = 0; i < bytes / sizeof(Sample); ++i) {
        const float centred = static_cast<float>(source[i]) - zero;
        target[i] = static_cast<Sample>(std::lrint(centred * factor + zero));
    }
}

}  // namespace

PulseRenderer::PulseRenderer(std::string sink)
    : CBaseRenderer(GUID_NULL), sink_(std::move(sink)), volume_(*this) {}

void* PulseRenderer::FindInterface(REFIID iid) {
    if (iid == __uuidof(IBasicAudio)) return static_cast<IBasicAudio*>(&volume_);
    return CBaseRenderer::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Volume::put_Volume(LONG volume) {
    if (volume < silent || volume > 0) return E_INVALIDARG;
    level_ = volume;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Volume::get_Volume(LONG* volume) {
    if (!volume) return E_POINTER;
    *volume = level_;
    return S_OK;
}

// The server's own controls are for that.
HRESULT STDMETHODCALLTYPE PulseRenderer::Volume::put_Balance(LONG balance) {
    return balance == 0 ? S_OK : E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Volume::get_Balance(LONG* balance) {
    if (!balance) return E_POINTER;
    *balance = 0;
    return S_OK;
}

REFERENCE_TIME PulseRenderer::Lead() const { return lead; }

HRESULT PulseRenderer::CheckMediaType(const CMediaType* type) {
    if (!type) return E_POINTER;
    const auto* const format = type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    const bool sound = type->majortype == MEDIATYPE_Audio && type->subtype == MEDIASUBTYPE_PCM &&
                       format && (format->wBitsPerSample == 16 || format->wBitsPerSample == 8);
    if (!sound || format->nBlockAlign == 0 || format->nSamplesPerSec == 0)
        return VFW_E_TYPE_NOT_ACCEPTED;
    // The stream has the format of the connection.
    if (State() != State_Stopped && !IsPlayed(*format)) return VFW_E_TYPE_NOT_ACCEPTED;
    StreamFormat server{};
    return SUCCEEDED(StreamFormat::From(*format, server)) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

bool PulseRenderer::IsPlayed(const WAVEFORMATEX& format) const {
    return format.nBlockAlign == format_.nBlockAlign &&
           format.nSamplesPerSec == format_.nSamplesPerSec &&
           format.wBitsPerSample == format_.wBitsPerSample && format.nChannels == format_.nChannels;
}

HRESULT PulseRenderer::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CheckMediaType(type);
    if (SUCCEEDED(hr) && State() == State_Stopped)
        format_ = *type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    return hr;
}

HRESULT PulseRenderer::CompleteConnect(IPin* pin) {
    const HRESULT hr = OpenStream();
    return SUCCEEDED(hr) ? CBaseRenderer::CompleteConnect(pin) : hr;
}

HRESULT PulseRenderer::OpenStream() {
    stream_.reset();
    lost_ = false;
    set_rate_ = 0;
    std::shared_ptr<PulseConnection> connection;
    const HRESULT hr = PulseConnection::Open(connection);
    return SUCCEEDED(hr) ? PlaybackStream::Open(connection, sink_, format_, stream_) : hr;
}

HRESULT PulseRenderer::BreakConnect() {
    stream_.reset();
    return CBaseRenderer::BreakConnect();
}

void PulseRenderer::Lose(HRESULT hr) {
    if (lost_.exchange(true)) return;
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_ERROR,
                  "Sound output is gone, playing on without it - 0x%08X",
                  static_cast<unsigned>(hr));
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Stop() {
    if (stream_) stream_->Interrupt(true);
    const HRESULT hr = CBaseRenderer::Stop();
    if (stream_ && !lost_) {
        stream_->Stop();
        stream_->Flush();
    }
    aligned_ = false;
    return hr;
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Pause() {
    if (stream_ && State() == State_Stopped) stream_->Interrupt(false);
    if (stream_ && !lost_ && State() == State_Running) stream_->Stop();
    return CBaseRenderer::Pause();
}

HRESULT STDMETHODCALLTYPE PulseRenderer::Run(REFERENCE_TIME start) {
    start_ = start;
    if (stream_ && State() == State_Stopped) stream_->Interrupt(false);
    if (stream_ && !lost_) stream_->Start();
    return CBaseRenderer::Run(start);
}

HRESULT PulseRenderer::BeginFlush() {
    if (stream_) stream_->Interrupt(true);
    return CBaseRenderer::BeginFlush();
}

HRESULT PulseRenderer::EndFlush() {
    if (stream_) {
        if (!lost_) stream_->Flush();
        stream_->Interrupt(false);
    }
    aligned_ = false;
    return CBaseRenderer::EndFlush();
}

HRESULT PulseRenderer::WriteSilence(REFERENCE_TIME lasts) {
    const auto frames = static_cast<std::size_t>(static_cast<double>(lasts) / units * PlayedRate());
    const int zero = format_.wBitsPerSample == 8 ? 0x80 : 0;
    const std::vector<std::uint8_t> silence(frames * format_.nBlockAlign,
                                            static_cast<std::uint8_t>(zero));
    return stream_->Write(silence.data(), silence.size());
}

// The server's figures jitter by a few milliseconds, which this filters out.
void PulseRenderer::Correct(REFERENCE_TIME error) {
    REFERENCE_TIME now = 0;
    const ComPtr<IReferenceClock> clock = Clock();
    if (!clock || FAILED(clock->GetTime(&now)) || now < next_correction_) return;
    next_correction_ = now + correction_period;
    const double wanted =
        std::clamp(static_cast<double>(-error) / (4 * units), -most_correction, most_correction);
    const auto rate = static_cast<std::uint32_t>(std::lround(PlayedRate() * (1 + wanted)));
    if (rate == set_rate_) return;
    set_rate_ = rate;
    stream_->SetRate(rate);
}

HRESULT PulseRenderer::Align(REFERENCE_TIME due, std::size_t& skip) {
    skip = 0;
    REFERENCE_TIME now = 0;
    LONGLONG latency = 0;
    const ComPtr<IReferenceClock> clock = Clock();
    if (!clock || FAILED(clock->GetTime(&now))) return S_OK;
    const HRESULT known = stream_->Latency(latency);
    if (known != S_OK) return FAILED(known) ? known : S_OK;
    // Above 0: what is written now would be heard too early.
    const REFERENCE_TIME error = due - now - latency;
    if (aligned_ && std::abs(error) < most_error) {
        Correct(error);
        return S_OK;
    }
    aligned_ = true;
    if (error > 0) return WriteSilence(std::min(error, most_silence));
    skip = static_cast<std::size_t>(static_cast<double>(-error) / units * PlayedRate());
    return S_OK;
}

HRESULT PulseRenderer::DoRenderSample(IMediaSample* sample) {
    if (!stream_ || lost_) return S_OK;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const bool timed = SUCCEEDED(sample->GetTime(&start, &end));
    std::size_t bytes = static_cast<std::size_t>(std::max<LONG>(sample->GetActualDataLength(), 0)) /
                        format_.nBlockAlign * format_.nBlockAlign;
    if (!data || bytes == 0) return S_OK;
    const auto rate = static_cast<std::uint32_t>(std::lround(PlayedRate()));
    if (set_rate_ == 0 || std::abs(static_cast<double>(set_rate_) / rate - 1) > most_correction * 2)
        stream_->SetRate(set_rate_ = rate);
    std::size_t skip = 0;
    HRESULT hr = timed ? Align(start_ + start, skip) : S_OK;
    skip = std::min(skip * format_.nBlockAlign, bytes);
    const void* written = data + skip;
    bytes -= skip;
    const LONG level = volume_.Level();
    if (level != 0) {
        const auto scale =
            format_.wBitsPerSample == 8 ? &Scale<std::uint8_t> : &Scale<std::int16_t>;
        scale(written, bytes, level, scaled_);
        written = scaled_.data();
    }
    if (hr == S_OK) hr = stream_->Write(written, bytes);
    if (FAILED(hr)) Lose(hr);
    return S_OK;
}

HRESULT CreatePulseRenderer(const std::string& sink, REFIID iid, void** object) try {
    ComPtr<PulseRenderer> renderer;
    renderer.Attach(new PulseRenderer(sink));
    return renderer->QueryInterface(iid, object);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace Vimbrel

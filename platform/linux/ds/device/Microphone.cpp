#include "platform/linux/ds/device/Microphone.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "com/ComObject.h"
#include "platform/linux/pulse/PulseConnection.h"

namespace Vimbrel {

namespace {

// {5D6A2E4B-2C5B-4A63-9F0C-61B7A1C8E0D3}
constexpr CLSID microphone_class{
    0x5D6A2E4B, 0x2C5B, 0x4A63, {0x9F, 0x0C, 0x61, 0xB7, 0xA1, 0xC8, 0xE0, 0xD3}};

// A thread that wakes seldom costs least. What came too late for its sample is not long in coming,
// and a device that goes away is noticed soon.
constexpr std::chrono::microseconds shortest_wait{10'000};
constexpr std::chrono::microseconds longest_wait{50'000};
constexpr LONGLONG units_per_second = 10'000'000;

LONGLONG Now() {
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

}  // namespace

Microphone::Microphone(std::string source, DWORD frames_per_second)
    : CBaseFilter(microphone_class),
      source_(std::move(source)),
      pin_(*this, frames_per_second),
      level_(*this) {}

void* Microphone::FindInterface(REFIID iid) {
    if (iid == __uuidof(IAMAudioInputMixer)) return static_cast<IAMAudioInputMixer*>(&level_);
    return CBaseFilter::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE Microphone::GetState(DWORD milliseconds, FILTER_STATE* state) {
    const HRESULT hr = CBaseFilter::GetState(milliseconds, state);
    return hr == S_OK && *state == State_Paused ? VFW_S_CANT_CUE : hr;
}

HRESULT Microphone::OpenStream() {
    std::shared_ptr<PulseConnection> connection;
    HRESULT hr = PulseConnection::Open(connection);
    std::unique_ptr<RecordStream> stream;
    if (SUCCEEDED(hr)) hr = RecordStream::Open(connection, source_, pin_.Format(), stream);
    if (FAILED(hr)) return hr;
    {
        const MutexLock guard(stream_lock_);
        stream_ = std::move(stream);
    }
    hr = ApplyLevel();
    if (SUCCEEDED(hr)) return S_OK;
    // Full level is not what was asked for.
    const MutexLock guard(stream_lock_);
    stream_.reset();
    return hr;
}

void Microphone::CloseStream() {
    StopThread();
    const MutexLock guard(stream_lock_);
    stream_.reset();
}

std::shared_ptr<RecordStream> Microphone::Stream() {
    const MutexLock guard(stream_lock_);
    return stream_;
}

HRESULT Microphone::ApplyLevel() {
    const std::shared_ptr<RecordStream> stream = Stream();
    return stream ? stream->SetVolume(level_.Effective()) : S_OK;
}

HRESULT STDMETHODCALLTYPE Microphone::Run(REFERENCE_TIME start) {
    const bool runs = State() == State_Running;
    HRESULT hr = CBaseFilter::Run(start);
    std::shared_ptr<RecordStream> stream = Stream();
    if (FAILED(hr) || runs || !stream) return hr;
    // The thread of the run before, which the pause told to end. The receiver runs by now, and lets
    // it go.
    StopThread();
    hr = stream->Start();
    if (FAILED(hr)) return hr;
    {
        const MutexLock guard(thread_lock_);
        stopping_ = false;
    }
    thread_ = std::thread(&Microphone::Capture, this, std::move(stream), RunStart(start));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Microphone::Pause() {
    // Not waited for: a renderer that pauses keeps the thread with its sample until the next run or
    // stop, which wait for it.
    if (State() == State_Running) EndThread();
    return CBaseFilter::Pause();
}

// When the stream's time 0 was, whatever the graph's clock counts from.
LONGLONG Microphone::RunStart(REFERENCE_TIME start) {
    const ComPtr<IReferenceClock> clock = Clock();
    REFERENCE_TIME now = 0;
    if (!clock || FAILED(clock->GetTime(&now))) return Now();
    return Now() - (now - start);
}

void Microphone::EndThread() {
    const MutexLock guard(thread_lock_);
    stopping_ = true;
    stopped_.NotifyAll();
}

void Microphone::StopThread() {
    EndThread();
    if (thread_.joinable()) thread_.join();
}

bool Microphone::IsStopping() {
    const MutexLock guard(thread_lock_);
    return stopping_;
}

// False at the end.
bool Microphone::WaitForSound(std::chrono::microseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    MutexLock guard(thread_lock_);
    while (!stopping_) {
        if (!stopped_.WaitUntil(guard, end)) return true;
    }
    return false;
}

// Nothing is delivered before a sample is full.
std::chrono::microseconds Microphone::TimeToFill() const {
    if (!filling_) return shortest_wait;
    const std::int64_t lacking = (filling_->GetSize() - filled_) / pin_.Format().nBlockAlign;
    return std::clamp(std::chrono::microseconds(lacking * 1'000'000 / pin_.Format().nSamplesPerSec),
                      shortest_wait, longest_wait);
}

void Microphone::Capture(const std::shared_ptr<RecordStream>& stream, LONGLONG run_start) {
    pin_.DeliverNewSegment(run_start, LLONG_MAX, 1.0);
    while (WaitForSound(TimeToFill())) {
        const HRESULT hr = Drain(*stream, run_start);
        if (hr == S_OK) continue;
        // The receiver's refusals are the graph's matter.
        if (FAILED(hr)) NotifyEvent(EC_DEVICE_LOST, 0, 0);
        break;
    }
    filling_.Reset();
    // Here, since it takes the packet away that this thread may be copying.
    stream->Stop();
}

// S_FALSE if the receiver takes no more, or at the end.
HRESULT Microphone::Drain(RecordStream& stream, LONGLONG run_start) {
    for (;;) {
        RecordStream::Packet packet{};
        HRESULT hr = stream.Peek(packet);
        if (FAILED(hr) || packet.frames == 0) return hr;
        const auto bytes = static_cast<LONG>(packet.frames * pin_.Format().nBlockAlign);
        hr = Append(packet.data, bytes, packet.start - run_start);
        stream.Drop();
        if (hr != S_OK || IsStopping()) return S_FALSE;
    }
}

// Samples are always full, so that a receiver who takes blocks never has a part of one. A jump of
// the times, which are settled in the first moments, takes effect with the next sample.
HRESULT Microphone::Append(const BYTE* data, LONG bytes, LONGLONG start) {
    const WAVEFORMATEX& format = pin_.Format();
    const auto duration = [&](LONG length) {
        return length / format.nBlockAlign * units_per_second / format.nSamplesPerSec;
    };
    LONG done = 0;
    while (done < bytes) {
        if (!filling_) {
            const HRESULT hr = pin_.GetDeliveryBuffer(filling_.Put());
            if (FAILED(hr)) return hr;
            filled_ = 0;
            // The first frames may have been recorded just before the run.
            filling_start_ = std::max<LONGLONG>(start + duration(done), 0);
        }
        BYTE* target = nullptr;
        filling_->GetPointer(&target);
        const LONG room = filling_->GetSize() / format.nBlockAlign * format.nBlockAlign - filled_;
        const LONG part = std::min(room, bytes - done);
        std::memcpy(target + filled_, data + done, static_cast<std::size_t>(part));
        done += part;
        filled_ += part;
        if (part == room) {
            const HRESULT hr = DeliverFilled();
            if (hr != S_OK) return hr;
        }
    }
    return S_OK;
}

HRESULT Microphone::DeliverFilled() {
    const ComPtr<IMediaSample> sample = std::exchange(filling_, {});
    const WAVEFORMATEX& format = pin_.Format();
    REFERENCE_TIME end =
        filling_start_ + filled_ / format.nBlockAlign * units_per_second / format.nSamplesPerSec;
    sample->SetActualDataLength(filled_);
    sample->SetTime(&filling_start_, &end);
    return pin_.Deliver(sample.Get());
}

HRESULT CreateMicrophone(const std::string& source, DWORD frames_per_second, REFIID iid,
                         void** filter) {
    return CreateCom<Microphone>(iid, filter, source, frames_per_second);
}

}  // namespace Vimbrel

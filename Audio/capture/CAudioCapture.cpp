#include "Audio/capture/CAudioCapture.h"

#include <winuser.h>

#include <cstring>
#include <utility>

#include "base/ObjectCreation.h"
#include "filters/GraphWalk.h"
#include "vimbrel/AppLog.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace Vimbrel {

namespace {

constexpr LONG packet_bytes = 4096;

}  // namespace

CAudioCapture::CAudioCapture() = default;

CAudioCapture::~CAudioCapture() { Close(); }

bool CAudioCapture::Start(const std::wstring& device) {
    if (graph) Close();
    format = {};
    if (FAILED(CreateObject(CLSID_FilterGraph, graph))) return false;
    device_filter.Reset();
    if (!AudioDeviceEnumerator::GetAudioFilter(device, true, device_filter.Put())) return false;
    if (FAILED(graph->AddFilter(device_filter.Get(), L"MicrophoneSource"))) return false;
    input_mixer = device_filter.As<IAMAudioInputMixer>();
    if (input_mixer) {
        input_mixer->put_Enable(TRUE);
        SetVolume(volume);
    }
    if (!BuildChain()) return false;
    media_control = graph.As<IMediaControl>();
    if (!media_control) return false;
    SetPitch(pitch);
    sink->GetFormat(&format);
    LogStart(device);
    return true;
}

bool CAudioCapture::BuildChain() {
    const ComPtr<IPin> device_pin = FindPin(*device_filter.Get(), PINDIR_OUTPUT);
    if (!device_pin) return false;
    if (const auto negotiation = device_pin.As<IAMBufferNegotiation>()) {
        const ALLOCATOR_PROPERTIES wanted{-1, packet_bytes, -1, -1};
        negotiation->SuggestAllocatorProperties(&wanted);
    }
    CreateDSAudioProcessing(processing.Put());
    if (processing) graph->AddFilter(processing.Get(), L"Audio Processing Filter");
    if (!AddSink()) return false;
    const ComPtr<IPin> last = AddProcessing(device_pin);
    const ComPtr<IPin> sink_pin = FindPin(*sink_filter.Get(), PINDIR_INPUT);
    return last && sink_pin && SUCCEEDED(graph->ConnectDirect(last.Get(), sink_pin.Get(), nullptr));
}

bool CAudioCapture::AddSink() {
    CreateDSRenderAudio(&sink);
    sink->SetDispatcher(this);
    void* found = nullptr;
    HRESULT hr = sink->QueryInterface(__uuidof(IBaseFilter), &found);
    if (SUCCEEDED(hr)) {
        sink_filter.Attach(static_cast<IBaseFilter*>(found));
        hr = graph->AddFilter(sink_filter.Get(), L"Audio Grabber");
    }
    if (SUCCEEDED(hr)) return true;
    sink_filter.Reset();
    std::exchange(sink, nullptr)->Release();
    return false;
}

ComPtr<IPin> CAudioCapture::AddProcessing(const ComPtr<IPin>& device_pin) {
    if (!processing) return device_pin;
    const ComPtr<IPin> input = FindPin(*processing.Get(), PINDIR_INPUT);
    if (input && SUCCEEDED(graph->Connect(device_pin.Get(), input.Get())))
        return FindPin(*processing.Get(), PINDIR_OUTPUT);
    // Without pitch, then.
    graph->RemoveFilter(processing.Get());
    processing.Reset();
    return device_pin;
}

void CAudioCapture::LogStart(const std::wstring& device) const {
    namespace log = HalvorixAppLog;
    log::IAppLogManager* const logger = log::GetAppLogger();
    if (!logger->PreCheck(log::LOGGER_MAIN, log::LOG_LEVEL_TRACE)) return;
    log::LogRecord* const record = logger->MakeRecord(log::LOGGER_MAIN, log::LOG_LEVEL_TRACE);
    log::LogCursor(*record) << "Start audio capture - " << device << ": " << int{format.nChannels}
                            << " / " << int{format.wBitsPerSample} << " / " << format.nSamplesPerSec
                            << " Hz";
    // Kept: log files are searched for this place.
    constexpr int line = 157;
    logger->Submit(record, "Audio\\AudioCapture", line);
}

void CAudioCapture::Close() {
    Stop();
    if (device_filter && graph) {
        RemoveDownstream(*graph.Get(), *device_filter.Get());
        graph->RemoveFilter(device_filter.Get());
    }
    input_mixer.Reset();
    processing.Reset();
    device_filter.Reset();
    sink_filter.Reset();
    if (sink) std::exchange(sink, nullptr)->Release();
    media_control.Reset();
    graph.Reset();
    format = {};
}

bool CAudioCapture::Run() { return media_control && SUCCEEDED(media_control->Run()); }

void CAudioCapture::Stop() {
    if (media_control) media_control->Stop();
}

void CAudioCapture::SetDispatcher(Dispatcher receiver) {
    auto shared = std::make_shared<const Dispatcher>(std::move(receiver));
    const MutexLock lock(dispatcher_mutex);
    dispatcher = std::move(shared);
}

void CAudioCapture::SetVoiceDetectWindow(HWND window, unsigned message) {
    notify_window.store(window, std::memory_order_relaxed);
    notify_message.store(message, std::memory_order_relaxed);
}

void CAudioCapture::SetPitch(int percent) {
    pitch = percent;
    if (processing) processing->SetPitch(percent);
}

void CAudioCapture::SetVolume(int percent) {
    volume = percent;
    if (input_mixer) input_mixer->put_MixLevel(percent / 100.0);
}

void CAudioCapture::OnAudioSample(unsigned char* data, int size, std::int64_t start,
                                  std::int64_t duration) {
    constexpr WORD measured_bits = 16;
    if (voice_detect.load(std::memory_order_relaxed) && format.wBitsPerSample == measured_bits)
        DetectVoice(data, size);
    // After the detection, which hears the microphone as it is.
    if (IsMuted()) std::memset(data, 0, static_cast<std::size_t>(size));
    std::shared_ptr<const Dispatcher> receiver;
    {
        const MutexLock lock(dispatcher_mutex);
        receiver = dispatcher;
    }
    if (receiver && *receiver) (*receiver)(data, size, start, duration);
}

void CAudioCapture::DetectVoice(const unsigned char* data, int size) {
    const auto change = voice_level.Take(data, size, format);
    auto* const window = notify_window.load(std::memory_order_relaxed);
    const unsigned message = notify_message.load(std::memory_order_relaxed);
    if (change && window && message != 0)
        PostMessageW(window, message, change->speech ? 1 : 0, change->level);
}

}  // namespace Vimbrel

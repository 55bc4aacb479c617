#include "Audio/capture/LoopbackSilence.h"

#include <audioclient.h>
#include <avrt.h>

#include "com/ComPtr.h"

namespace Vimbrel {

namespace {

class SilentStream {
public:
    ~SilentStream() {
        if (buffer_event_) CloseHandle(buffer_event_);
    }

    HRESULT Open(IMMDevice& device);
    HRESULT Start() const { return client_->Start(); }
    // Until the stop event is signalled or the device fails.
    void Play(HANDLE stop_event) const;
    void Stop() const { client_->Stop(); }

private:
    HRESULT Initialize(IMMDevice& device);
    HRESULT Write(UINT32 frames) const;

    ComPtr<IAudioClient> client_;
    ComPtr<IAudioRenderClient> render_client_;
    UINT32 buffer_frames_ = 0;
    HANDLE buffer_event_ = nullptr;
};

HRESULT SilentStream::Initialize(IMMDevice& device) {
    void* client = nullptr;
    HRESULT hr = device.Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &client);
    if (FAILED(hr)) return hr;
    client_.Attach(static_cast<IAudioClient*>(client));
    WAVEFORMATEX* format = nullptr;
    hr = client_->GetMixFormat(&format);
    if (FAILED(hr)) return hr;
    hr = client_->Initialize(AUDCLNT_SHAREMODE_SHARED, AUDCLNT_STREAMFLAGS_EVENTCALLBACK, 0, 0,
                             format, nullptr);
    CoTaskMemFree(format);
    return hr;
}

HRESULT SilentStream::Open(IMMDevice& device) {
    HRESULT hr = Initialize(device);
    if (FAILED(hr)) return hr;
    hr = client_->GetBufferSize(&buffer_frames_);
    if (FAILED(hr)) return hr;
    void* service = nullptr;
    hr = client_->GetService(__uuidof(IAudioRenderClient), &service);
    if (FAILED(hr)) return hr;
    render_client_.Attach(static_cast<IAudioRenderClient*>(service));
    buffer_event_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!buffer_event_) return E_FAIL;
    hr = client_->SetEventHandle(buffer_event_);
    return SUCCEEDED(hr) ? Write(buffer_frames_) : hr;
}

HRESULT SilentStream::Write(UINT32 frames) const {
    BYTE* data = nullptr;
    const HRESULT hr = render_client_->GetBuffer(frames, &data);
    return SUCCEEDED(hr) ? render_client_->ReleaseBuffer(frames, AUDCLNT_BUFFERFLAGS_SILENT) : hr;
}

void SilentStream::Play(HANDLE stop_event) const {
    const HANDLE events[] = {stop_event, buffer_event_};
    while (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        UINT32 padding = 0;
        if (FAILED(client_->GetCurrentPadding(&padding))) return;
        if (FAILED(Write(buffer_frames_ - padding))) return;
    }
}

// Whether it came to play; then `started_event` was signalled.
bool OpenAndPlay(IMMDevice& device, HANDLE started_event, HANDLE stop_event) {
    SilentStream stream;
    if (FAILED(stream.Open(device))) return false;
    DWORD index = 0;
    HANDLE task = AvSetMmThreadCharacteristicsW(L"Playback", &index);
    if (!task) return false;
    const bool started = SUCCEEDED(stream.Start());
    if (started) {
        SetEvent(started_event);
        stream.Play(stop_event);
        stream.Stop();
    }
    AvRevertMmThreadCharacteristics(task);
    return started;
}

}  // namespace

void PlaySilence(IMMDevice& device, HANDLE started_event, HANDLE stop_event) {
    bool started = false;
    if (SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        started = OpenAndPlay(device, started_event, stop_event);
        CoUninitialize();
    }
    if (!started) SetEvent(started_event);
}

}  // namespace Vimbrel

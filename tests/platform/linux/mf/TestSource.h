// A media source that gives what a test pushes into it, with one lock for all its operations as
// live sources have it.
#pragma once

#include <mfidl.h>

#include <deque>
#include <memory>
#include <mutex>

#include "tests/platform/linux/mf/MfTestKit.h"
#include "tests/platform/linux/mf/Mp4TestKit.h"

namespace Vimbrel::test {

ComPtr<IMFMediaType> VideoType(const Scene& scene, bool top_down = true);
ComPtr<IMFMediaType> AudioType(const Scene& scene);
ComPtr<IMFTranscodeProfile> Profile(const Scene& scene);

class TestStream;

class TestSource final : public ComObject<Implements<IMFMediaSource, IMFMediaEventGenerator>> {
public:
    // Without picture if its width is 0, without sound if its rate is.
    explicit TestSource(const Scene& scene);
    ~TestSource() override;

    // What it does on Start.
    HRESULT start_result = S_OK;    // the call's
    HRESULT started_status = S_OK;  // MESourceStarted's
    DWORD characteristics = MFMEDIASOURCE_IS_LIVE;
    Counter* gone = nullptr;

    Counter requested;          // RequestSample calls that were taken
    Counter taken[2];           // samples that went out: sound, picture
    std::recursive_mutex lock;  // held by a test as the source holds it while it waits
    IMFPresentationDescriptor* Presentation() { return presentation_.Get(); }

    void Push(bool video, const Bytes& bytes, std::int64_t time);
    void PushFrame(int number);
    void PushSound(std::int64_t first, std::size_t count);
    void End();
    void Tell(MediaEventType type, HRESULT status) {
        events_->QueueEventParamVar(type, GUID_NULL, status, nullptr);
    }

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
        return events_->GetEvent(flags, event);
    }
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override;
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended_type, HRESULT status,
                                         const PROPVARIANT* value) override {
        return events_->QueueEventParamVar(type, extended_type, status, value);
    }
    HRESULT STDMETHODCALLTYPE GetCharacteristics(DWORD* value) override {
        return *value = characteristics, S_OK;
    }
    HRESULT STDMETHODCALLTYPE
    CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) override {
        return presentation_->Clone(descriptor);
    }
    HRESULT STDMETHODCALLTYPE Start(IMFPresentationDescriptor* descriptor, const GUID* time_format,
                                    const PROPVARIANT* position) override;
    HRESULT STDMETHODCALLTYPE Stop() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Pause() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Shutdown() override;

private:
    friend class TestStream;
    void StreamEnded();

    const Scene scene_;
    ComPtr<IMFMediaEventQueue> events_;
    ComPtr<IMFPresentationDescriptor> presentation_;
    ComPtr<TestStream> streams_[2];  // sound, picture
    int active_ = 0;
};

}  // namespace Vimbrel::test

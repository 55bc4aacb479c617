// Wraps a synchronous transform as an asynchronous one: events request input and announce output,
// and encoding runs on a worker thread.
#pragma once

#include <strmif.h>

#include <deque>
#include <thread>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel::test {

// Most calls fail with MF_E_TRANSFORM_ASYNC_LOCKED until MF_TRANSFORM_ASYNC_UNLOCK is set in its
// attributes. It provides the samples of its output.
class AsyncTransform final
    : public TransformObject<Implements<IMFTransform>, Implements<IMFMediaEventGenerator>,
                             Implements<ICodecAPI>> {
public:
    // `inner` allows its output to be taken right after each input, and has ICodecAPI.
    explicit AsyncTransform(ComPtr<IMFTransform> inner);
    ~AsyncTransform() override;

    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override;
    HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes** attributes) override;
    HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD stream, DWORD index,
                                                     IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD stream, IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD stream, IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override;
    // MF_E_NOTACCEPTING without a METransformNeedInput that requests it.
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override;

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override;
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended_type, HRESULT status,
                                         const PROPVARIANT* value) override;

    HRESULT STDMETHODCALLTYPE IsSupported(const GUID* api) override;
    HRESULT STDMETHODCALLTYPE IsModifiable(const GUID* api) override;
    HRESULT STDMETHODCALLTYPE GetParameterRange(const GUID* api, VARIANT* minimum, VARIANT* maximum,
                                                VARIANT* step) override;
    HRESULT STDMETHODCALLTYPE GetParameterValues(const GUID* api, VARIANT** values,
                                                 ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetDefaultValue(const GUID* api, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE GetValue(const GUID* api, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE SetValue(const GUID* api, VARIANT* value) override;

private:
    bool IsUnlocked() const;
    void Start();
    void Run();
    void Work(IMFSample* input);
    HRESULT TakeOutput(ComPtr<IMFSample>& output);
    void Tell(MediaEventType type);

    const ComPtr<IMFTransform> inner_;
    const ComPtr<ICodecAPI> inner_codec_;
    ComPtr<IMFAttributes> attributes_;
    ComPtr<IMFMediaEventQueue> events_;
    Mutex inner_lock_;  // held over calls into inner_, and never together with lock_

    Mutex lock_;
    Condition changed_;
    unsigned credits_ GUARDED_BY(lock_) = 0;
    bool stopping_ GUARDED_BY(lock_) = false;
    std::deque<ComPtr<IMFSample>> input_ GUARDED_BY(lock_);
    std::deque<ComPtr<IMFSample>> output_ GUARDED_BY(lock_);

    std::thread thread_;
};

}  // namespace Vimbrel::test

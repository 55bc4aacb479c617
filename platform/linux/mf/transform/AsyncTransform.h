// A transform that works by events, around one that works in turns: it calls for input and tells of
// output, and does its work on a thread of its own.
#pragma once

#include <strmif.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

// Before MF_TRANSFORM_ASYNC_UNLOCK was set in its attributes it only gives these:
// MF_E_TRANSFORM_ASYNC_LOCKED. It provides the samples of its output.
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
    // MF_E_NOTACCEPTING without a METransformNeedInput that calls for it.
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

    const ComPtr<IMFTransform> inner_;  // on the thread alone once that runs, but for its types
    const ComPtr<ICodecAPI> inner_codec_;
    ComPtr<IMFAttributes> attributes_;
    ComPtr<IMFMediaEventQueue> events_;
    std::mutex inner_lock_;  // of calls into inner_

    std::mutex lock_;
    std::condition_variable changed_;
    // All guarded by lock_.
    unsigned credits_ = 0;
    bool stopping_ = false;
    std::deque<ComPtr<IMFSample>> input_;
    std::deque<ComPtr<IMFSample>> output_;

    std::thread thread_;
};

}  // namespace Vimbrel

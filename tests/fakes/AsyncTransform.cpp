#include "tests/fakes/AsyncTransform.h"

#include <mfapi.h>

#include <utility>

namespace Vimbrel::test {
namespace {

// The next frame waits when one is done.
constexpr unsigned frames_ahead = 2;

}  // namespace

AsyncTransform::AsyncTransform(ComPtr<IMFTransform> inner)
    : inner_(std::move(inner)), inner_codec_(inner_.As<ICodecAPI>()) {
    MFCreateEventQueue(events_.Put());
    MFCreateAttributes(attributes_.Put(), 2);
    attributes_->SetUINT32(MF_TRANSFORM_ASYNC, 1);
    attributes_->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 0);
}

AsyncTransform::~AsyncTransform() {
    {
        const MutexLock lock(lock_);
        stopping_ = true;
    }
    changed_.NotifyAll();
    if (thread_.joinable()) thread_.join();
    events_->Shutdown();
}

bool AsyncTransform::IsUnlocked() const {
    return MFGetAttributeUINT32(attributes_.Get(), MF_TRANSFORM_ASYNC_UNLOCK, 0) != 0;
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetAttributes(IMFAttributes** attributes) {
    return attributes_.CopyTo(attributes);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetOutputStreamInfo(DWORD stream,
                                                              MFT_OUTPUT_STREAM_INFO* info) {
    if (!IsUnlocked()) return MF_E_TRANSFORM_ASYNC_LOCKED;
    const MutexLock lock(inner_lock_);
    const HRESULT hr = inner_->GetOutputStreamInfo(stream, info);
    if (SUCCEEDED(hr)) info->dwFlags |= MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
    return hr;
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetOutputAvailableType(DWORD stream, DWORD index,
                                                                 IMFMediaType** type) {
    const MutexLock lock(inner_lock_);
    return inner_->GetOutputAvailableType(stream, index, type);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::SetInputType(DWORD stream, IMFMediaType* type,
                                                       DWORD flags) {
    if (!IsUnlocked()) return MF_E_TRANSFORM_ASYNC_LOCKED;
    const MutexLock lock(inner_lock_);
    return inner_->SetInputType(stream, type, flags);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::SetOutputType(DWORD stream, IMFMediaType* type,
                                                        DWORD flags) {
    if (!IsUnlocked()) return MF_E_TRANSFORM_ASYNC_LOCKED;
    const MutexLock lock(inner_lock_);
    return inner_->SetOutputType(stream, type, flags);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetInputCurrentType(DWORD stream, IMFMediaType** type) {
    const MutexLock lock(inner_lock_);
    return inner_->GetInputCurrentType(stream, type);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetOutputCurrentType(DWORD stream, IMFMediaType** type) {
    const MutexLock lock(inner_lock_);
    return inner_->GetOutputCurrentType(stream, type);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::ProcessMessage(MFT_MESSAGE_TYPE message,
                                                         ULONG_PTR parameter) {
    if (!IsUnlocked()) return MF_E_TRANSFORM_ASYNC_LOCKED;
    if (message == MFT_MESSAGE_COMMAND_FLUSH) {
        const MutexLock lock(lock_);
        input_.clear();
        output_.clear();
    }
    HRESULT hr = S_OK;
    {
        const MutexLock lock(inner_lock_);
        hr = inner_->ProcessMessage(message, parameter);
    }
    if (SUCCEEDED(hr) && message == MFT_MESSAGE_NOTIFY_START_OF_STREAM) Start();
    return hr;
}

void AsyncTransform::Start() {
    if (thread_.joinable()) return;
    thread_ = std::thread([this] { Run(); });
    {
        const MutexLock lock(lock_);
        credits_ = frames_ahead;
    }
    for (unsigned i = 0; i < frames_ahead; ++i) Tell(METransformNeedInput);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::ProcessInput(DWORD stream, IMFSample* sample, DWORD) {
    if (!sample) return E_POINTER;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!IsUnlocked()) return MF_E_TRANSFORM_ASYNC_LOCKED;
    {
        const MutexLock lock(lock_);
        if (credits_ == 0) return MF_E_NOTACCEPTING;
        --credits_;
        input_.emplace_back(sample);
    }
    changed_.NotifyAll();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AsyncTransform::ProcessOutput(DWORD, DWORD count,
                                                        MFT_OUTPUT_DATA_BUFFER* samples,
                                                        DWORD* status) {
    if (!samples || !status) return E_POINTER;
    if (count != 1 || samples->dwStreamID != 0) return E_INVALIDARG;
    const MutexLock lock(lock_);
    if (output_.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    samples->pSample = output_.front().Detach();
    output_.pop_front();
    return S_OK;
}

void AsyncTransform::Run() {
    for (;;) {
        ComPtr<IMFSample> input;
        {
            MutexLock lock(lock_);
            while (!stopping_ && input_.empty()) changed_.Wait(lock);
            if (stopping_) return;
            input = std::move(input_.front());
            input_.pop_front();
        }
        Work(input.Get());
    }
}

// A frame that fails is lost, and the next one is requested.
void AsyncTransform::Work(IMFSample* input) {
    ComPtr<IMFSample> output;
    HRESULT hr = S_OK;
    {
        const MutexLock lock(inner_lock_);
        hr = inner_->ProcessInput(0, input, 0);
        if (SUCCEEDED(hr)) hr = TakeOutput(output);
    }
    {
        const MutexLock lock(lock_);
        ++credits_;
        if (SUCCEEDED(hr)) output_.push_back(std::move(output));
    }
    if (SUCCEEDED(hr)) Tell(METransformHaveOutput);
    Tell(METransformNeedInput);
}

HRESULT AsyncTransform::TakeOutput(ComPtr<IMFSample>& output) {
    MFT_OUTPUT_STREAM_INFO info{};
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    HRESULT hr = inner_->GetOutputStreamInfo(0, &info);
    if (SUCCEEDED(hr)) hr = MFCreateSample(sample.Put());
    if (SUCCEEDED(hr)) hr = MFCreateMemoryBuffer(info.cbSize, buffer.Put());
    if (SUCCEEDED(hr)) hr = sample->AddBuffer(buffer.Get());
    if (FAILED(hr)) return hr;
    MFT_OUTPUT_DATA_BUFFER data{};
    data.pSample = sample.Get();
    DWORD status = 0;
    hr = inner_->ProcessOutput(0, 1, &data, &status);
    if (SUCCEEDED(hr)) output = std::move(sample);
    return hr;
}

void AsyncTransform::Tell(MediaEventType type) {
    events_->QueueEventParamVar(type, GUID{}, S_OK, nullptr);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::GetEvent(DWORD flags, IMFMediaEvent** event) {
    return events_->GetEvent(flags, event);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::BeginGetEvent(IMFAsyncCallback* callback,
                                                        IUnknown* state) {
    return events_->BeginGetEvent(callback, state);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::EndGetEvent(IMFAsyncResult* result,
                                                      IMFMediaEvent** event) {
    return events_->EndGetEvent(result, event);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::QueueEvent(MediaEventType type, REFGUID extended_type,
                                                     HRESULT status, const PROPVARIANT* value) {
    return events_->QueueEventParamVar(type, extended_type, status, value);
}

HRESULT STDMETHODCALLTYPE AsyncTransform::IsSupported(const GUID* api) {
    return inner_codec_->IsSupported(api);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::IsModifiable(const GUID* api) {
    return inner_codec_->IsModifiable(api);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::GetParameterRange(const GUID* api, VARIANT* minimum,
                                                            VARIANT* maximum, VARIANT* step) {
    return inner_codec_->GetParameterRange(api, minimum, maximum, step);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::GetParameterValues(const GUID* api, VARIANT** values,
                                                             ULONG* count) {
    return inner_codec_->GetParameterValues(api, values, count);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::GetDefaultValue(const GUID* api, VARIANT* value) {
    return inner_codec_->GetDefaultValue(api, value);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::GetValue(const GUID* api, VARIANT* value) {
    return inner_codec_->GetValue(api, value);
}
HRESULT STDMETHODCALLTYPE AsyncTransform::SetValue(const GUID* api, VARIANT* value) {
    const MutexLock lock(inner_lock_);
    return inner_codec_->SetValue(api, value);
}

}  // namespace Vimbrel::test

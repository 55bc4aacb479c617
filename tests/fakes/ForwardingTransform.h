// A transform around another one, of which tests replace single operations.
#pragma once

#include <utility>

#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel::test {

// `Lists` as of TransformObject.
template <class... Lists>
class ForwardingTransform : public TransformObject<Lists...> {
public:
    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override {
        return inner->GetOutputStreamInfo(stream, info);
    }
    HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD stream, IMFMediaType** type) override {
        return inner->GetOutputCurrentType(stream, type);
    }
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
        return inner->SetInputType(stream, type, flags);
    }
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type,
                                            DWORD flags) override {
        return inner->SetOutputType(stream, type, flags);
    }
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override {
        return inner->ProcessMessage(message, parameter);
    }
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
        return inner->ProcessInput(stream, sample, flags);
    }
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override {
        return inner->ProcessOutput(flags, count, samples, status);
    }

protected:
    explicit ForwardingTransform(ComPtr<IMFTransform> wrapped) : inner(std::move(wrapped)) {}

    const ComPtr<IMFTransform> inner;
};

}  // namespace Vimbrel::test

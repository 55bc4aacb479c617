// The system's resampler as a transform that passes bytes on unchanged, counts calls and fails on
// demand. Both systems.
#pragma once

#include <wmcodecdsp.h>

#include <cstring>
#include <vector>

#include "base/ObjectCreation.h"
#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel::test {

class FakeResampler final : public TransformObject<Implements<IMFTransform>> {
public:
    // Takes the place of the system's while it lives.
    class Override {
    public:
        Override()
            : override_(CLSID_CResamplerMediaObject, [this](REFIID iid, void** object) {
                  return resampler_->QueryInterface(iid, object);
              }) {}
        FakeResampler* operator->() const { return resampler_.Get(); }

    private:
        ComPtr<FakeResampler> resampler_ = MakeCom<FakeResampler>();
        ScopedClassOverride override_;
    };

    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD, IMFMediaType* type, DWORD) override {
        input_type_ = ComPtr<IMFMediaType>(type);
        return type_result;
    }
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD, IMFMediaType* type, DWORD) override {
        output_type_ = ComPtr<IMFMediaType>(type);
        return type_result;
    }
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) override {
        messages.push_back(message);
        return message == MFT_MESSAGE_NOTIFY_START_OF_STREAM ? start_result : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD, IMFSample* sample, DWORD) override {
        if (FAILED(input_result)) return input_result;
        ++inputs;
        ComPtr<IMFMediaBuffer> buffer;
        BYTE* data = nullptr;
        DWORD length = 0;
        sample->ConvertToContiguousBuffer(buffer.Put());
        buffer->Lock(&data, nullptr, &length);
        held.assign(data, data + length);
        return buffer->Unlock();
    }
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* output,
                                            DWORD*) override {
        ++outputs;
        if (FAILED(output_result)) return output_result;
        ComPtr<IMFMediaBuffer> buffer;
        BYTE* data = nullptr;
        output->pSample->ConvertToContiguousBuffer(buffer.Put());
        buffer->Lock(&data, nullptr, nullptr);
        std::memcpy(data, held.data(), held.size());
        buffer->Unlock();
        return buffer->SetCurrentLength(static_cast<DWORD>(held.size()));
    }

    HRESULT type_result = S_OK;
    HRESULT start_result = S_OK;
    HRESULT input_result = S_OK;
    HRESULT output_result = S_OK;
    int inputs = 0;
    int outputs = 0;
    std::vector<MFT_MESSAGE_TYPE> messages;
    std::vector<BYTE> held;
};

}  // namespace Vimbrel::test

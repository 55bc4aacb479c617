// Base of the transforms: one stream in and one out, both number 0. Operations that only other
// kinds of transforms have are not implemented.
#pragma once

#include <mferror.h>
#include <mftransform.h>

#include "com/ComObject.h"

namespace Vimbrel {

// `Lists` are Implements<...>, of which the first is that of IMFTransform.
template <class... Lists>
class TransformObject : public ComObject<Lists...> {
public:
    HRESULT STDMETHODCALLTYPE GetStreamLimits(DWORD* input_minimum, DWORD* input_maximum,
                                              DWORD* output_minimum,
                                              DWORD* output_maximum) override {
        if (!input_minimum || !input_maximum || !output_minimum || !output_maximum)
            return E_POINTER;
        *input_minimum = *input_maximum = *output_minimum = *output_maximum = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStreamCount(DWORD* inputs, DWORD* outputs) override {
        if (!inputs || !outputs) return E_POINTER;
        *inputs = *outputs = 1;
        return S_OK;
    }
    // The published result of transforms whose streams are numbered from 0.
    HRESULT STDMETHODCALLTYPE GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputStreamInfo(DWORD stream,
                                                 MFT_INPUT_STREAM_INFO* info) override {
        if (!info) return E_POINTER;
        *info = {};
        return stream == 0 ? S_OK : MF_E_INVALIDSTREAMNUMBER;
    }
    HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes** attributes) override {
        return None(attributes);
    }
    HRESULT STDMETHODCALLTYPE GetInputStreamAttributes(DWORD, IMFAttributes** attributes) override {
        return None(attributes);
    }
    HRESULT STDMETHODCALLTYPE GetOutputStreamAttributes(DWORD,
                                                        IMFAttributes** attributes) override {
        return None(attributes);
    }
    HRESULT STDMETHODCALLTYPE DeleteInputStream(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInputAvailableType(DWORD, DWORD, IMFMediaType** type) override {
        return None(type);
    }
    HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD, DWORD, IMFMediaType** type) override {
        return None(type);
    }
    HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD stream, IMFMediaType** type) override {
        return Current(stream, input_type_, type);
    }
    HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD stream, IMFMediaType** type) override {
        return Current(stream, output_type_, type);
    }
    HRESULT STDMETHODCALLTYPE GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }

protected:
    ComPtr<IMFMediaType> input_type_;
    ComPtr<IMFMediaType> output_type_;

private:
    template <class Interface>
    static HRESULT None(Interface** object) {
        if (!object) return E_POINTER;
        *object = nullptr;
        return E_NOTIMPL;
    }

    static HRESULT Current(DWORD stream, const ComPtr<IMFMediaType>& current, IMFMediaType** type) {
        if (!type) return E_POINTER;
        *type = nullptr;
        if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
        return current ? current.CopyTo(type) : MF_E_TRANSFORM_TYPE_NOT_SET;
    }
};

// Locks a sample's bytes while it lives.
class LockedSample {
public:
    explicit LockedSample(IMFSample* sample);
    ~LockedSample();
    LockedSample(const LockedSample&) = delete;
    LockedSample& operator=(const LockedSample&) = delete;

    HRESULT Result() const { return result_; }
    BYTE* Data() const { return data_; }
    DWORD Capacity() const { return capacity_; }
    DWORD Length() const { return length_; }
    HRESULT SetLength(DWORD length) { return buffer_->SetCurrentLength(length); }

private:
    ComPtr<IMFMediaBuffer> buffer_;
    BYTE* data_ = nullptr;
    DWORD capacity_ = 0;
    DWORD length_ = 0;
    HRESULT result_;
};

}  // namespace Vimbrel

#include "platform/linux/mf/transform/ColorConverter.h"

#include <mfapi.h>

#include "pixel/BgraToYuv.h"
#include "pixel/PixelOperations.h"
#include "platform/linux/mf/objects/MediaType.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE ColorConverter::GetOutputStreamInfo(DWORD stream,
                                                              MFT_OUTPUT_STREAM_INFO* info) {
    if (!info) return E_POINTER;
    *info = {};
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    info->dwFlags = MFT_OUTPUT_STREAM_WHOLE_SAMPLES | MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER |
                    MFT_OUTPUT_STREAM_FIXED_SAMPLE_SIZE;
    info->cbSize = OutputBytes();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ColorConverter::SetInputType(DWORD stream, IMFMediaType* type, DWORD) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    input_type_.Reset();
    output_type_.Reset();
    if (!type) return S_OK;
    UINT32 width = 0;
    UINT32 height = 0;
    if (!IsMediaType(type, MFMediaType_Video, MFVideoFormat_RGB32) ||
        FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height))) {
        return MF_E_INVALIDMEDIATYPE;
    }
    constexpr UINT32 longest = 16384;
    if (width == 0 || height == 0 || width > longest || height > longest || width % 2 != 0 ||
        height % 2 != 0)
        return MF_E_INVALIDMEDIATYPE;
    width_ = width;
    height_ = height;
    bottom_up_ =
        static_cast<std::int32_t>(MFGetAttributeUINT32(type, MF_MT_DEFAULT_STRIDE, width * 4)) < 0;
    input_type_ = ComPtr<IMFMediaType>(type);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ColorConverter::SetOutputType(DWORD stream, IMFMediaType* type, DWORD) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    output_type_.Reset();
    if (!type) return S_OK;
    if (!input_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    UINT32 width = 0;
    UINT32 height = 0;
    if (!IsMediaType(type, MFMediaType_Video, MFVideoFormat_NV12) ||
        FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height)) || width != width_ ||
        height != height_) {
        return MF_E_INVALIDMEDIATYPE;
    }
    InitializePixelOperations();
    output_type_ = ComPtr<IMFMediaType>(type);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ColorConverter::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) {
    if (message == MFT_MESSAGE_COMMAND_FLUSH) waiting_.Reset();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ColorConverter::ProcessInput(DWORD stream, IMFSample* sample, DWORD) {
    if (!sample) return E_POINTER;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!input_type_ || !output_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (waiting_) return MF_E_NOTACCEPTING;
    waiting_ = ComPtr<IMFSample>(sample);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ColorConverter::ProcessOutput(DWORD, DWORD count,
                                                        MFT_OUTPUT_DATA_BUFFER* samples,
                                                        DWORD* status) {
    if (!samples || !status || !samples->pSample) return E_POINTER;
    if (count != 1 || samples->dwStreamID != 0) return E_INVALIDARG;
    if (!waiting_) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    const ComPtr<IMFSample> input = std::exchange(waiting_, nullptr);
    const LockedSample pixels(input.Get());
    LockedSample nv12(samples->pSample);
    if (FAILED(pixels.Result())) return pixels.Result();
    if (FAILED(nv12.Result())) return nv12.Result();
    if (pixels.Length() < InputBytes() || nv12.Capacity() < OutputBytes())
        return MF_E_BUFFERTOOSMALL;
    Convert(pixels.Data(), nv12.Data());
    LONGLONG time = 0;
    if (SUCCEEDED(input->GetSampleTime(&time))) samples->pSample->SetSampleTime(time);
    if (SUCCEEDED(input->GetSampleDuration(&time))) samples->pSample->SetSampleDuration(time);
    return nv12.SetLength(OutputBytes());
}

// Writes rows that come bottom up from the last one upward.
void ColorConverter::Convert(const BYTE* pixels, BYTE* nv12) {
    const std::ptrdiff_t luma = width_;
    const std::ptrdiff_t chroma_rows = height_ / 2;
    BYTE* const both = nv12 + luma * height_;
    YuvPlanes planes = {{nv12, both, nullptr}, {luma, luma, 0}};
    if (bottom_up_) {
        planes = {{nv12 + luma * (height_ - 1), both + luma * (chroma_rows - 1), nullptr},
                  {-luma, -luma, 0}};
    }
    ConvertBgraToYuv(pixels, width_, height_, MatrixForSize(width_, height_), planes);
}

HRESULT CreateColorConverter(REFIID iid, void** object) {
    return CreateCom<ColorConverter>(iid, object);
}

}  // namespace Vimbrel

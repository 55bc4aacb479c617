// RGB32 to NV12, as a transform. The matrix is the one that players assume for the size.
#pragma once

#include <vector>

#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

// Width and height are even. The sign of the type's stride gives the order of the input's rows; the
// output's are top down. There are no gaps between rows.
class ColorConverter final : public TransformObject<Implements<IMFTransform>> {
public:
    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override;
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override;
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override;

private:
    DWORD InputBytes() const { return width_ * height_ * 4; }
    DWORD OutputBytes() const { return width_ * height_ / 2 * 3; }
    void Convert(const BYTE* pixels, BYTE* nv12);

    UINT32 width_ = 0;
    UINT32 height_ = 0;
    bool bottom_up_ = false;
    ComPtr<IMFSample> waiting_;
};

HRESULT CreateColorConverter(REFIID iid, void** object);

}  // namespace Vimbrel

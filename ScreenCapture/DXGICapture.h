// Desktop duplication: all outputs of the desktop in one picture, with the pointer on it.
#pragma once

#include <wincodec.h>

#include <memory>
#include <vector>

#include "ScreenCapture/PointerInfo.h"
#include "ScreenCapture/system/CaptureSystem.h"
#include "com/ComPtr.h"

namespace Vimbrel {

// Released from the last to the first.
struct DuplicatedOutput {
    ComPtr<IDXGIAdapter1> adapter;
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ComPtr<IDXGIOutput1> output;
    ComPtr<IDXGIOutputDuplication> duplication;
};

// All calls come from one thread at a time. A duplication that is lost stays lost: every capture
// then logs it and fails, until the owner makes a new object.
class DXGICapture {
public:
    explicit DXGICapture(const CaptureSystem& capture_system);
    ~DXGICapture();
    DXGICapture(const DXGICapture&) = delete;
    DXGICapture& operator=(const DXGICapture&) = delete;

    // Starts the duplication until that has once succeeded; *out becomes the rectangle that the
    // selected outputs span.
    HRESULT GetOutputRect(RECT* out);
    // Captures into `buffer`, 32-bit rows of the size of `frame`. Waits up to 100 ms for a change
    // of each output; on failure what the outputs before the failing one gave is in the buffer.
    HRESULT GetOutputBits(BYTE* buffer, const RECT* frame);
    bool HasSingleOutput() const { return outputs.size() == 1; }

private:
    HRESULT Initialize();
    HRESULT DuplicateOutputs(IDXGIAdapter1* adapter, HRESULT& last_failure);
    HRESULT DuplicateOne(DuplicatedOutput& duplicated, IDXGIOutput* output);
    std::vector<const DuplicatedOutput*>& SelectOutputs();
    HRESULT AcquireFrame(const DuplicatedOutput& output, const DXGI_OUTPUT_DESC& description,
                         ComPtr<IDXGISurface1>& surface, D3D11_TEXTURE2D_DESC& texture);
    void ReadPointer(const DuplicatedOutput& output, const DXGI_OUTPUT_DESC& description,
                     const DXGI_OUTDUPL_FRAME_INFO& frame_info);
    HRESULT ScaleDown(const RECT& desktop, BYTE* buffer, LONG width, LONG height);

    ComPtr<IDXGIFactory1> factory;
    std::vector<DuplicatedOutput> outputs;
    BOOL initialized = FALSE;

public:
    // 1 the primary output, 2 the first that is not, 3 all, others none. Set before the first
    // GetOutputRect.
    INT captureSource = 0;

private:
    RECT composeRect{};
    std::unique_ptr<BYTE[]> composeBuffer;  // for a desktop that is larger than the caller's frame
    ComPtr<IWICImagingFactory> wicFactory;
    ULONG_PTR gdiplusToken = 0;
    std::unique_ptr<PointerInfo> pointer;

public:
    bool drawCursor = true;

private:
    const CaptureSystem& system;
    std::vector<const DuplicatedOutput*> selected;        // scratch of SelectOutputs
    std::vector<std::unique_ptr<BYTE[]>> outgrownShapes;  // see ReadPointer
};

}  // namespace Vimbrel

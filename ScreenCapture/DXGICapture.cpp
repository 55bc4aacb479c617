#include "ScreenCapture/DXGICapture.h"

#include <cstring>
#include <new>
#include <utility>

#include "ScreenCapture/OutputTurn.h"
#include "base/Failure.h"
#include "base/ObjectCreation.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_TRACE;

constexpr UINT frame_timeout_ms = 100;
constexpr UINT pointer_side_limit = 129;

void LogOutput(const DXGI_OUTPUT_DESC& description) {
    const RECT& place = description.DesktopCoordinates;
    APPLOG_FORMAT(LOG_LEVEL_TRACE,
                  "Display output found. DeviceName=%ls AttachedToDesktop=%d Rotation=%d "
                  "DesktopCoordinates={(%d,%d),(%d,%d)}",
                  description.DeviceName, static_cast<int>(description.AttachedToDesktop),
                  static_cast<int>(description.Rotation), static_cast<int>(place.left),
                  static_cast<int>(place.top), static_cast<int>(place.right),
                  static_cast<int>(place.bottom));
}

}  // namespace

DXGICapture::DXGICapture(const CaptureSystem& capture_system) : system(capture_system) {}

DXGICapture::~DXGICapture() {
    if (gdiplusToken) system.gdiplus.GdiplusShutdown(gdiplusToken);
}

HRESULT DXGICapture::Initialize() {
    if (initialized) return S_OK;
    // An attempt before this one may have left some.
    outputs.clear();
    if (!gdiplusToken) system.gdiplus.GdiplusStartup(&gdiplusToken, 1);
    HRESULT hr = LogHrIfFailed(system.graphics.CreateDXGIFactory1(IID_PPV_ARGS(factory.Put())),
                               "Failed to CreateDXGIFactory1");
    if (FAILED(hr)) return hr;
    HRESULT last_failure = E_FAIL;
    ComPtr<IDXGIAdapter1> adapter;
    for (UINT index = 0; SUCCEEDED(factory->EnumAdapters1(index, adapter.Put())); ++index) {
        hr = DuplicateOutputs(adapter.Get(), last_failure);
        if (FAILED(hr)) return hr;
    }
    if (outputs.empty()) return last_failure;
    hr = LogHrIfFailed(CreateObject(CLSID_WICImagingFactory2, wicFactory),
                       "Failed to create WICImagingFactory");
    if (FAILED(hr)) return hr;
    initialized = TRUE;
    return S_OK;
}

HRESULT DXGICapture::DuplicateOutputs(IDXGIAdapter1* adapter, HRESULT& last_failure) {
    std::vector<ComPtr<IDXGIOutput>> attached;
    ComPtr<IDXGIOutput> output;
    for (UINT index = 0; SUCCEEDED(adapter->EnumOutputs(index, output.Put())); ++index) {
        DXGI_OUTPUT_DESC description{};
        output->GetDesc(&description);
        LogOutput(description);
        if (description.AttachedToDesktop) attached.push_back(output);
    }
    if (attached.empty()) return S_OK;

    DuplicatedOutput duplicated;
    duplicated.adapter = ComPtr<IDXGIAdapter1>(adapter);
    HRESULT hr = LogHrIfFailed(
        system.graphics.D3D11CreateDevice(adapter, D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0,
                                          D3D11_SDK_VERSION, duplicated.device.Put(), nullptr,
                                          duplicated.context.Put()),
        "Failed to create D3D11CreateDevice");
    if (FAILED(hr)) return hr;
    for (const ComPtr<IDXGIOutput>& one : attached) {
        hr = DuplicateOne(duplicated, one.Get());
        if (FAILED(hr)) {
            last_failure = hr;
        } else {
            outputs.push_back(duplicated);
        }
    }
    return S_OK;
}

HRESULT DXGICapture::DuplicateOne(DuplicatedOutput& duplicated, IDXGIOutput* output) {
    duplicated.output.Reset();
    HRESULT hr = output->QueryInterface(IID_PPV_ARGS(duplicated.output.Put()));
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "spDXGIOutput1 is NULL");
        return hr;
    }
    ComPtr<IDXGIDevice> dxgi_device;
    hr = duplicated.device->QueryInterface(IID_PPV_ARGS(dxgi_device.Put()));
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "spDXGIDevice is NULL");
        return hr;
    }
    return LogHrIfFailed(
        duplicated.output->DuplicateOutput(dxgi_device.Get(), duplicated.duplication.Put()),
        "Failed to duplicate output");
}

// The result is valid until the next call. Pointers rather than added references, in a vector that
// stays: a request shall not allocate, and the outputs cannot go while it runs.
std::vector<const DuplicatedOutput*>& DXGICapture::SelectOutputs() {
    selected.clear();
    if (captureSource < 1 || captureSource > 3) return selected;
    for (const DuplicatedOutput& output : outputs) {
        if (captureSource == 3) {
            selected.push_back(&output);
            continue;
        }
        DXGI_OUTPUT_DESC description{};
        output.output->GetDesc(&description);
        MONITORINFO info{};
        info.cbSize = sizeof info;
        system.windows.GetMonitorInfoW(description.Monitor, &info);
        if (((info.dwFlags & MONITORINFOF_PRIMARY) != 0) == (captureSource == 1)) {
            selected.push_back(&output);
            break;
        }
    }
    return selected;
}

HRESULT DXGICapture::GetOutputRect(RECT* out) {
    *out = RECT{};
    const HRESULT hr = Initialize();
    if (FAILED(hr)) return hr;
    for (const DuplicatedOutput* output : SelectOutputs()) {
        DXGI_OUTPUT_DESC description{};
        output->output->GetDesc(&description);
        const RECT so_far = *out;
        UnionRect(out, &so_far, &description.DesktopCoordinates);
    }
    return S_OK;
}

HRESULT DXGICapture::GetOutputBits(BYTE* buffer, const RECT* frame) {
    const LONG width = frame->right - frame->left;
    const LONG height = frame->bottom - frame->top;
    RECT desktop{};
    HRESULT hr = GetOutputRect(&desktop);
    if (FAILED(hr)) return hr;
    const LONG desktop_width = desktop.right - desktop.left;
    const LONG desktop_height = desktop.bottom - desktop.top;

    // A desktop that does not begin at the origin fits if it has the frame's size.
    const bool direct = (desktop.right <= width && desktop.bottom <= height) ||
                        (desktop_width == width && desktop_height == height);
    TurnTarget target{buffer, width, height};
    if (!direct) {
        if (!composeBuffer || std::memcmp(&composeRect, &desktop, sizeof desktop) != 0) {
            composeBuffer.reset(new (std::nothrow)
                                    BYTE[std::size_t{4} * static_cast<std::size_t>(desktop_width) *
                                         static_cast<std::size_t>(desktop_height)]());
            if (!composeBuffer) return E_OUTOFMEMORY;
            composeRect = desktop;
        }
        target = {composeBuffer.get(), desktop_width, desktop_height};
    }

    for (const DuplicatedOutput* output : SelectOutputs()) {
        DXGI_OUTPUT_DESC description{};
        output->output->GetDesc(&description);
        ComPtr<IDXGISurface1> surface;
        D3D11_TEXTURE2D_DESC texture{};
        hr = AcquireFrame(*output, description, surface, texture);
        if (FAILED(hr)) return hr;
        DXGI_MAPPED_RECT mapped{};
        // Kept: the result is ignored, because the frame must be released in any case. Without
        // pixels nothing is copied.
        surface->Map(&mapped, DXGI_MAP_READ);
        RECT place = description.DesktopCoordinates;
        OffsetRect(&place, -desktop.left, -desktop.top);
        TurnOutput({mapped.pBits, mapped.Pitch / 4, texture.Width, texture.Height,
                    texture.Format == DXGI_FORMAT_B8G8R8X8_UNORM},
                   description.Rotation, place, target);
        surface->Unmap();
        output->duplication->ReleaseFrame();
    }

    if (drawCursor && pointer)
        DrawPointer(*pointer, system.gdiplus, target.pixels, desktop, direct ? *frame : desktop);
    return direct ? S_OK : ScaleDown(desktop, buffer, width, height);
}

HRESULT DXGICapture::AcquireFrame(const DuplicatedOutput& output,
                                  const DXGI_OUTPUT_DESC& description,
                                  ComPtr<IDXGISurface1>& surface, D3D11_TEXTURE2D_DESC& texture) {
    DXGI_OUTDUPL_FRAME_INFO frame_info{};
    ComPtr<IDXGIResource> resource;
    // Kept: a wait without a change is logged like any failure, because hosts look for the line.
    HRESULT hr = LogHrIfFailed(
        output.duplication->AcquireNextFrame(frame_timeout_ms, &frame_info, resource.Put()),
        "DXGIOutputDuplication->AcquireNextFrame failed with");
    if (FAILED(hr)) return hr;
    // From here on a failure releases the frame: a frame that is kept would end the duplication.
    const ComPtr<ID3D11Texture2D> desktop = resource.As<ID3D11Texture2D>();
    if (!desktop) {
        output.duplication->ReleaseFrame();
        return E_NOINTERFACE;
    }
    desktop->GetDesc(&texture);
    D3D11_TEXTURE2D_DESC staging_description{};
    staging_description.Width = texture.Width;
    staging_description.Height = texture.Height;
    staging_description.Format = texture.Format;
    staging_description.MipLevels = 1;
    staging_description.ArraySize = 1;
    staging_description.SampleDesc.Count = 1;
    staging_description.Usage = D3D11_USAGE_STAGING;
    staging_description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    ComPtr<ID3D11Texture2D> staging;
    hr = LogHrIfFailed(output.device->CreateTexture2D(&staging_description, nullptr, staging.Put()),
                       "DXGIOutputDuplication->CreateTexture2D failed with");
    if (FAILED(hr)) {
        output.duplication->ReleaseFrame();
        return hr;
    }
    output.context->CopyResource(staging.Get(), desktop.Get());
    surface = staging.As<IDXGISurface1>();
    if (!surface) {
        output.duplication->ReleaseFrame();
        return E_NOINTERFACE;
    }
    // Kept: a pointer that is not visible leaves the last one where it was, because frames without
    // a pointer come while it is only hidden for a moment.
    if (frame_info.PointerPosition.Visible) ReadPointer(output, description, frame_info);
    return S_OK;
}

void DXGICapture::ReadPointer(const DuplicatedOutput& output, const DXGI_OUTPUT_DESC& description,
                              const DXGI_OUTDUPL_FRAME_INFO& frame_info) {
    UINT size = frame_info.PointerShapeBufferSize;
    const auto allocate = [](UINT bytes) {
        return std::unique_ptr<BYTE[]>(bytes ? new (std::nothrow) BYTE[bytes] : nullptr);
    };
    // A shape that has not changed has no size, and needs no memory.
    std::unique_ptr<BYTE[]> shape = allocate(size);
    if (size && !shape) return;
    UINT required = 0;
    DXGI_OUTDUPL_POINTER_SHAPE_INFO shape_info{};
    HRESULT hr =
        output.duplication->GetFramePointerShape(size, shape.get(), &required, &shape_info);
    if (hr == DXGI_ERROR_MORE_DATA) {
        // Kept: the first buffer is not freed here, but with the object.
        if (shape) outgrownShapes.push_back(std::move(shape));
        size = required;
        shape = allocate(size);
        if (size && !shape) return;
        hr = output.duplication->GetFramePointerShape(size, shape.get(), &required, &shape_info);
    }
    if (hr != S_OK) return;
    const bool known = shape_info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME ||
                       shape_info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR ||
                       shape_info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR;
    if (known && shape_info.Width < pointer_side_limit && shape_info.Height < pointer_side_limit) {
        pointer = std::make_unique<PointerInfo>();
        pointer->shape = std::move(shape);
        pointer->size = size;
        pointer->shapeInfo = shape_info;
        pointer->frameInfo = frame_info;
    }
    if (pointer) {
        pointer->frameInfo.PointerPosition.Position.x =
            description.DesktopCoordinates.left + frame_info.PointerPosition.Position.x;
        pointer->frameInfo.PointerPosition.Position.y =
            description.DesktopCoordinates.top + frame_info.PointerPosition.Position.y;
    }
}

HRESULT DXGICapture::ScaleDown(const RECT& desktop, BYTE* buffer, LONG width, LONG height) {
    const UINT desktop_width = static_cast<UINT>(desktop.right - desktop.left);
    const UINT desktop_height = static_cast<UINT>(desktop.bottom - desktop.top);
    ComPtr<IWICBitmap> bitmap;
    HRESULT hr = wicFactory->CreateBitmapFromMemory(
        desktop_width, desktop_height, GUID_WICPixelFormat32bppBGRA, desktop_width * 4,
        desktop_width * desktop_height * 4, composeBuffer.get(), bitmap.Put());
    if (FAILED(hr)) return hr;
    ComPtr<IWICBitmapScaler> scaler;
    hr = wicFactory->CreateBitmapScaler(scaler.Put());
    if (FAILED(hr)) return hr;
    const double aspect = static_cast<double>(desktop_width) / static_cast<double>(desktop_height);
    const UINT new_width =
        aspect > 1 ? static_cast<UINT>(width) : static_cast<UINT>(height * aspect);
    const UINT new_height =
        aspect > 1 ? static_cast<UINT>(width / aspect) : static_cast<UINT>(height);
    hr = scaler->Initialize(bitmap.Get(), new_width, new_height,
                            WICBitmapInterpolationModeNearestNeighbor);
    if (FAILED(hr)) return hr;
    return scaler->CopyPixels(nullptr, new_width * 4,
                              static_cast<UINT>(width) * static_cast<UINT>(height) * 4, buffer);
}

}  // namespace Vimbrel

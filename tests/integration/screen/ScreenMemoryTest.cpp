// The published faces of capture under want of memory: a failure, and no exception.
#include <gtest/gtest.h>

#include <objbase.h>

#include <functional>

#include "ScreenCapture/system/CaptureSystem.h"
#include "com/ComPtr.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/TestWindow.h"
#include "tests/support/XServer.h"

namespace Vimbrel::test {
namespace {

constexpr int width = 64;
constexpr int height = 32;

class ScreenMemoryTest : public testing::Test {
protected:
    const XServer server{Xvfb("64x32x24")};
    const CaptureSystem& system = PlatformCaptureSystem();
};

// A failure may come from any number of successes on, and is a code or a null.
TEST_F(ScreenMemoryTest, Duplication) {
    ComPtr<IDXGIFactory1> factory;
    ComPtr<IDXGIAdapter1> adapter;
    ComPtr<IDXGIOutput> output;
    ComPtr<IDXGIOutputDuplication> duplication;
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ComPtr<ID3D11Texture2D> texture;
    D3D11_TEXTURE2D_DESC staging{};
    staging.Width = width;
    staging.Height = height;
    staging.Format = DXGI_FORMAT_B8G8R8X8_UNORM;
    staging.MipLevels = staging.ArraySize = staging.SampleDesc.Count = 1;
    staging.Usage = D3D11_USAGE_STAGING;
    staging.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    DXGI_OUTDUPL_FRAME_INFO info{};
    ComPtr<IDXGIResource> frame;
    D3D_FEATURE_LEVEL level{};
    const struct {
        const char* what;
        std::function<HRESULT()> call;
    } rows[] = {
        {"factory",
         [&] { return system.graphics.CreateDXGIFactory1(IID_PPV_ARGS(factory.Put())); }},
        {"adapter", [&] { return factory->EnumAdapters1(0, adapter.Put()); }},
        {"output", [&] { return adapter->EnumOutputs(0, output.Put()); }},
        {"device",
         [&] {
             return system.graphics.D3D11CreateDevice(adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN,
                                                      nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                                                      device.Put(), &level, context.Put());
         }},
        {"texture", [&] { return device->CreateTexture2D(&staging, nullptr, texture.Put()); }},
        {"map",
         [&] {
             DXGI_MAPPED_RECT mapped{};
             const auto surface = texture.As<IDXGISurface1>();
             const HRESULT hr = surface->Map(&mapped, DXGI_MAP_READ);
             if (SUCCEEDED(hr)) surface->Unmap();
             return hr;
         }},
        {"duplication",
         [&] {
             return output.As<IDXGIOutput1>()->DuplicateOutput(device.Get(), duplication.Put());
         }},
    };
    for (const auto& row : rows) {
        HRESULT hr = E_FAIL;
        ExpectNoThrow(row.what, [&] { hr = row.call(); });
        ASSERT_EQ(hr, S_OK) << row.what;
    }
    // A frame that finds no memory ends its duplication.
    bool failed = true;
    for (int successes = 0; failed && successes < 100; ++successes) {
        ASSERT_EQ(output.As<IDXGIOutput1>()->DuplicateOutput(device.Get(), duplication.Put()),
                  S_OK);
        HRESULT hr = E_FAIL;
        ASSERT_NO_THROW({
            const ScopedAllocationFailure scarce(successes);
            hr = duplication->AcquireNextFrame(1000, &info, frame.Put());
            failed = scarce.HasFailed();
        }) << successes;
        EXPECT_TRUE(hr == S_OK || (failed && hr == DXGI_ERROR_ACCESS_LOST)) << std::hex << hr;
    }
    EXPECT_FALSE(failed);
}

TEST_F(ScreenMemoryTest, FrontBuffer) {
    ComPtr<IDirect3D9> direct3d;
    ComPtr<IDirect3DDevice9> device;
    ComPtr<IDirect3DSurface9> surface;
    D3DPRESENT_PARAMETERS parameters{};
    parameters.Windowed = TRUE;
    ExpectNoThrow("Direct3D",
                  [&] { direct3d.Attach(system.graphics.Direct3DCreate9(D3D_SDK_VERSION)); });
    ASSERT_TRUE(direct3d);
    ExpectNoThrow("device", [&] {
        direct3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr, 0, &parameters,
                               device.Put());
    });
    ASSERT_TRUE(device);
    // Narrower than the screen, so that the pixels pass through memory of the reader's own.
    ExpectNoThrow("surface", [&] {
        device->CreateOffscreenPlainSurface(width / 2, height, D3DFMT_A8R8G8B8, D3DPOOL_SCRATCH,
                                            surface.Put(), nullptr);
    });
    ASSERT_TRUE(surface);
    HRESULT hr = E_FAIL;
    ExpectNoThrow("pixels", [&] { hr = device->GetFrontBufferData(0, surface.Get()); });
    EXPECT_EQ(hr, D3D_OK);
}

TEST_F(ScreenMemoryTest, WindowsAndCursor) {
    const TestWindow window{1, 1, 20, 10, 1};
    Gdi& gdi = system.gdi;
    HDC screen = nullptr;
    HDC memory = nullptr;
    BITMAPINFO format{};
    format.bmiHeader.biSize = sizeof format.bmiHeader;
    format.bmiHeader.biWidth = width / 2;
    format.bmiHeader.biHeight = -height;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    HBITMAP bitmap = nullptr;
    CURSORINFO cursor{};
    cursor.cbSize = sizeof cursor;
    const RECT area{0, 0, width, height};
    HWND last = nullptr;
    const auto keep_last = [](HWND found, LPARAM kept) -> BOOL {
        *reinterpret_cast<HWND*>(kept) = found;
        return TRUE;
    };
    const auto keep_monitor = [](HMONITOR found, HDC, RECT*, LPARAM kept) -> BOOL {
        *reinterpret_cast<HMONITOR*>(kept) = found;
        return TRUE;
    };
    HMONITOR monitor = nullptr;
    MONITORINFOEXW monitor_info{};
    monitor_info.cbSize = sizeof monitor_info;
    wchar_t text[64];
    // Each returns what a success makes true.
    const struct {
        const char* what;
        std::function<bool()> call;
    } rows[] = {
        {"screen",
         [&] {
             if (screen) gdi.ReleaseDC(nullptr, screen);
             screen = gdi.GetDC(nullptr);
             return screen != nullptr;
         }},
        {"memory",
         [&] {
             if (memory) gdi.DeleteDC(memory);
             memory = gdi.CreateCompatibleDC(screen);
             return memory != nullptr;
         }},
        {"bitmap",
         [&] {
             if (bitmap) gdi.DeleteObject(bitmap);
             bitmap = gdi.CreateDIBSection(memory, &format, &bits);
             return bitmap != nullptr && bits != nullptr;
         }},
        {"pixels",
         [&] {
             gdi.SelectObject(memory, bitmap);
             return gdi.BitBlt(memory, 0, 0, width / 2, height, screen, 0, 0, SRCCOPY) != FALSE;
         }},
        {"dpi", [&] { return gdi.GetDeviceCaps(screen, LOGPIXELSX) > 0; }},
        {"cursor", [&] { return gdi.GetCursorInfo(&cursor) != FALSE; }},
        {"nearest monitor",
         [&] {
             return system.windows.MonitorFromRect(&area, MONITOR_DEFAULTTONEAREST) != nullptr;
         }},
        {"windows",
         [&] {
             return EnumWindows(keep_last, reinterpret_cast<LPARAM>(&last)) && last != nullptr;
         }},
        {"title", [&] { return GetWindowTextW(last, text, 64) >= 0; }},
        {"class", [&] { return GetClassNameW(last, text, 64) >= 0; }},
        {"monitors",
         [&] {
             return EnumDisplayMonitors(nullptr, nullptr, keep_monitor,
                                        reinterpret_cast<LPARAM>(&monitor)) &&
                    monitor != nullptr;
         }},
        {"monitor", [&] { return GetMonitorInfoW(monitor, &monitor_info) != FALSE; }},
    };
    for (const auto& row : rows) {
        bool succeeded = false;
        ExpectNoThrow(row.what, [&] { succeeded = row.call(); });
        EXPECT_TRUE(succeeded) << row.what;
    }
    if (memory) gdi.DeleteDC(memory);
    if (bitmap) gdi.DeleteObject(bitmap);
    if (screen) gdi.ReleaseDC(nullptr, screen);
}

}  // namespace
}  // namespace Vimbrel::test

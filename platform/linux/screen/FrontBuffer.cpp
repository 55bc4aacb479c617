// The screen as a front buffer.
#include <d3d9.h>

#include "com/ComObject.h"
#include "platform/linux/screen/ScreenChoice.h"
#include "platform/linux/x11/DrawableReader.h"
#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

namespace {

class FrontSurface final : public ComObject<Implements<IDirect3DSurface9>> {
public:
    explicit FrontSurface(std::shared_ptr<PixelBuffer> pixels) : pixels_(std::move(pixels)) {}

    HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT* locked, const RECT* rect,
                                       DWORD flags) override {
        if (!locked || !(flags & D3DLOCK_READONLY) || locked_) return D3DERR_INVALIDCALL;
        const RECT whole{0, 0, pixels_->Width(), pixels_->Height()};
        const RECT& area = rect ? *rect : whole;
        if (area.left < 0 || area.top < 0 || area.right > whole.right ||
            area.bottom > whole.bottom || area.left >= area.right || area.top >= area.bottom) {
            return D3DERR_INVALIDCALL;
        }
        locked->Pitch = static_cast<INT>(pixels_->Stride());
        locked->pBits = pixels_->At(area.left, area.top);
        locked_ = true;
        return D3D_OK;
    }

    HRESULT STDMETHODCALLTYPE UnlockRect() override {
        if (!locked_) return D3DERR_INVALIDCALL;
        locked_ = false;
        return D3D_OK;
    }

    PixelBuffer& Pixels() { return *pixels_; }

private:
    const std::shared_ptr<PixelBuffer> pixels_;
    bool locked_ = false;
};

class FrontDevice final : public ComObject<Implements<IDirect3DDevice9>> {
public:
    explicit FrontDevice(const std::shared_ptr<XConnection>& connection)
        : connection_(connection), reader_(connection) {}

    HRESULT STDMETHODCALLTYPE GetFrontBufferData(UINT swap_chain,
                                                 IDirect3DSurface9* surface) override {
        auto* target = dynamic_cast<FrontSurface*>(surface);
        if (swap_chain != 0 || !target) return D3DERR_INVALIDCALL;
        PixelBuffer& pixels = target->Pixels();
        const XRectangle screen{0, 0, pixels.Width(), pixels.Height()};
        return reader_.Read(connection_->Root(), connection_->RootFormat(), screen,
                            DrawableReader::Alpha::Opaque, pixels, 0, 0)
                   ? D3D_OK
                   : D3DERR_DEVICELOST;
    }

    HRESULT STDMETHODCALLTYPE CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format,
                                                          D3DPOOL pool, IDirect3DSurface9** surface,
                                                          HANDLE* shared_handle) override {
        if (!surface) return D3DERR_INVALIDCALL;
        *surface = nullptr;
        if (format != D3DFMT_A8R8G8B8 || pool != D3DPOOL_SCRATCH || shared_handle)
            return D3DERR_INVALIDCALL;
        auto pixels =
            PixelBuffer::Make(connection_, static_cast<int>(width), static_cast<int>(height));
        if (!pixels) return E_OUTOFMEMORY;
        return CreateCom<FrontSurface>(surface, std::move(pixels));
    }

private:
    const std::shared_ptr<XConnection> connection_;
    DrawableReader reader_;
};

class Direct3D final : public ComObject<Implements<IDirect3D9>> {
public:
    explicit Direct3D(std::shared_ptr<XConnection> connection)
        : connection_(std::move(connection)) {}

    HRESULT STDMETHODCALLTYPE GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) override {
        if (adapter != D3DADAPTER_DEFAULT || !mode) return D3DERR_INVALIDCALL;
        xcb_connection_t* const c = connection_->Get();
        const XReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, connection_->Root()), nullptr));
        if (!geometry) return D3DERR_NOTAVAILABLE;
        *mode = {geometry->width, geometry->height, 0, D3DFMT_X8R8G8B8};
        return D3D_OK;
    }

    HRESULT STDMETHODCALLTYPE CreateDevice(UINT adapter, D3DDEVTYPE type, HWND, DWORD,
                                           D3DPRESENT_PARAMETERS* parameters,
                                           IDirect3DDevice9** device) override {
        if (!device) return D3DERR_INVALIDCALL;
        *device = nullptr;
        if (adapter != D3DADAPTER_DEFAULT || type != D3DDEVTYPE_HAL || !parameters ||
            !parameters->Windowed)
            return D3DERR_INVALIDCALL;
        return CreateCom<FrontDevice>(device, connection_);
    }

private:
    const std::shared_ptr<XConnection> connection_;
};

}  // namespace

}  // namespace Vimbrel

extern "C" IDirect3D9* WINAPI Direct3DCreate9(UINT version) {
    using namespace Vimbrel;
    // An X server inside a Wayland session shows only some windows.
    if (IsWaylandChosen()) return nullptr;
    const std::shared_ptr<XConnection> connection = XConnection::Shared();
    if (version != D3D_SDK_VERSION || !connection || !connection->RootFormat().Usable())
        return nullptr;
    IDirect3D9* made = nullptr;
    CreateCom<Direct3D>(&made, connection);
    return made;
}

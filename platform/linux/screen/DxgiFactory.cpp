// The one adapter and its outputs.
#include <xcb/xcb.h>

#include <algorithm>
#include <new>
#include <vector>

#include "com/ComObject.h"
#include "platform/linux/screen/CastDuplication.h"
#include "platform/linux/screen/OutputDuplication.h"
#include "platform/linux/screen/ScreenChoice.h"
#include "platform/linux/screen/ScreenOutputs.h"
#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

namespace {

class DxgiOutput final : public ComObject<Implements<IDXGIOutput1, IDXGIOutput>> {
public:
    explicit DxgiOutput(const XOutput& output) : output_(output) {}

    HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* description) override {
        if (!description) return E_INVALIDARG;
        *description = {};
        output_.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
        description->DesktopCoordinates = output_.place;
        description->AttachedToDesktop = output_.attached ? TRUE : FALSE;
        description->Rotation = output_.rotation;
        description->Monitor = reinterpret_cast<HMONITOR>(static_cast<std::uintptr_t>(output_.id));
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown* device,
                                              IDXGIOutputDuplication** duplication) override {
        if (!duplication) return E_INVALIDARG;
        *duplication = nullptr;
        return device ? OutputDuplication::Create(output_, duplication) : E_INVALIDARG;
    }

private:
    const XOutput output_;
};

// The desktop on Wayland. Its size is not known before the user has granted it.
class CastOutput final : public ComObject<Implements<IDXGIOutput1, IDXGIOutput>> {
public:
    HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* description) override {
        if (!description) return E_INVALIDARG;
        *description = {};
        cast_output_name.copy(description->DeviceName, cast_output_name.size());
        description->AttachedToDesktop = TRUE;
        description->Rotation = DXGI_MODE_ROTATION_IDENTITY;
        description->Monitor = reinterpret_cast<HMONITOR>(std::uintptr_t{cast_output});
        if (const auto screen = CastScreen::Desktop()) {
            const SIZE size = screen->Size();
            description->DesktopCoordinates = {0, 0, size.cx, size.cy};
        }
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown* device,
                                              IDXGIOutputDuplication** duplication) override {
        if (!duplication) return E_INVALIDARG;
        *duplication = nullptr;
        return device ? CastDuplication::Create(duplication) : E_INVALIDARG;
    }
};

class DxgiAdapter final : public ComObject<Implements<IDXGIAdapter1, IDXGIAdapter>> {
public:
    // Null for the desktop on Wayland.
    explicit DxgiAdapter(const XConnection* server) : wayland_(!server) {
        if (server) outputs_ = ListOutputs(*server);
    }

    HRESULT STDMETHODCALLTYPE EnumOutputs(UINT index, IDXGIOutput** output) override {
        if (!output) return E_INVALIDARG;
        *output = nullptr;
        if (wayland_ && index == 0) return CreateCom<CastOutput>(output);
        if (index >= outputs_.size()) return DXGI_ERROR_NOT_FOUND;
        return CreateCom<DxgiOutput>(output, outputs_[index]);
    }

private:
    const bool wayland_;
    std::vector<XOutput> outputs_;
};

class DxgiFactory final : public ComObject<Implements<IDXGIFactory1>> {
public:
    explicit DxgiFactory(const XConnection* server) : adapter_(MakeCom<DxgiAdapter>(server)) {}

    HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT index, IDXGIAdapter1** adapter) override {
        if (!adapter) return E_INVALIDARG;
        *adapter = nullptr;
        if (index > 0) return DXGI_ERROR_NOT_FOUND;
        adapter_->AddRef();
        *adapter = adapter_.Get();
        return S_OK;
    }

private:
    ComPtr<DxgiAdapter> adapter_;
};

}  // namespace

}  // namespace Vimbrel

extern "C" HRESULT WINAPI CreateDXGIFactory1(REFIID iid, void** factory) try {
    using namespace Vimbrel;
    if (!factory) return E_INVALIDARG;
    *factory = nullptr;
    if (IsWaylandChosen()) return MakeCom<DxgiFactory>(nullptr)->QueryInterface(iid, factory);
    const std::shared_ptr<XConnection> connection = XConnection::Shared();
    if (!connection) return E_FAIL;
    return MakeCom<DxgiFactory>(connection.get())->QueryInterface(iid, factory);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

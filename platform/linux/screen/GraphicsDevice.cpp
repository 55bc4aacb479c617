#include "platform/linux/screen/GraphicsDevice.h"

#include <cstring>
#include <new>

namespace Vimbrel {

namespace {

// Sizes and format, which copying needs equal.
bool SameShape(const D3D11_TEXTURE2D_DESC& a, const D3D11_TEXTURE2D_DESC& b) {
    return a.Width == b.Width && a.Height == b.Height && a.Format == b.Format;
}

bool IsStaging(const D3D11_TEXTURE2D_DESC& description) {
    const D3D11_TEXTURE2D_DESC wanted =
        TextureDescription(static_cast<int>(description.Width),
                           static_cast<int>(description.Height), D3D11_USAGE_STAGING);
    return std::memcmp(&description, &wanted, sizeof wanted) == 0 && description.Width > 0 &&
           description.Height > 0;
}

// Whether the pointer holds the only reference.
bool IsAlone(const ComPtr<Texture>& texture) {
    texture->AddRef();
    return texture->Release() == 1;
}

}  // namespace

HRESULT STDMETHODCALLTYPE GraphicsDevice::CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                                          const D3D11_SUBRESOURCE_DATA* data,
                                                          ID3D11Texture2D** texture) try {
    if (!texture) return E_INVALIDARG;
    *texture = nullptr;
    if (!description || data || !IsStaging(*description)) return E_INVALIDARG;
    if (!last_ || !IsAlone(last_) || !SameShape(last_->Description(), *description)) {
        last_ = MakeCom<Texture>(*description);
        last_->SetKeptByMaker();
    }
    last_->AddRef();
    *texture = last_.Get();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

void STDMETHODCALLTYPE GraphicsContext::CopyResource(ID3D11Resource* destination,
                                                     ID3D11Resource* source) {
    auto* to = dynamic_cast<Texture*>(destination);
    auto* from = dynamic_cast<Texture*>(source);
    if (!to || !from || to == from || !SameShape(to->Description(), from->Description())) return;
    to->SetPixels(from->Pixels());
}

}  // namespace Vimbrel

extern "C" {

HRESULT WINAPI D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                                 UINT, const D3D_FEATURE_LEVEL*, UINT, UINT sdk_version,
                                 ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                                 ID3D11DeviceContext** context) try {
    using namespace Vimbrel;
    if (device) *device = nullptr;
    if (context) *context = nullptr;
    if (!adapter || type != D3D_DRIVER_TYPE_UNKNOWN || software || sdk_version != D3D11_SDK_VERSION)
        return E_INVALIDARG;
    // Both, or neither.
    ComPtr<GraphicsDevice> made_device;
    ComPtr<GraphicsContext> made_context;
    if (device) made_device = MakeCom<GraphicsDevice>();
    if (context) made_context = MakeCom<GraphicsContext>();
    if (device) *device = made_device.Detach();
    if (context) *context = made_context.Detach();
    if (level) *level = D3D_FEATURE_LEVEL_11_0;
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // extern "C"

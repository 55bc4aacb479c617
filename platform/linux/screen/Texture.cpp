#include "platform/linux/screen/Texture.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE Texture::Map(DXGI_MAPPED_RECT* mapped, UINT flags) {
    if (!mapped) return E_INVALIDARG;
    *mapped = {};
    if (description_.Usage != D3D11_USAGE_STAGING || flags != DXGI_MAP_READ || mapped_)
        return DXGI_ERROR_INVALID_CALL;
    if (!pixels_.bytes) {
        const auto empty = PixelBuffer::Make(nullptr, static_cast<int>(description_.Width),
                                             static_cast<int>(description_.Height));
        if (!empty) return E_OUTOFMEMORY;
        pixels_ = PixelsOf(empty);
    }
    mapped->Pitch = static_cast<INT>(pixels_.stride);
    // The published type has no const; DXGI_MAP_READ says it.
    mapped->pBits = const_cast<BYTE*>(pixels_.bytes);
    mapped_ = true;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Texture::Unmap() {
    if (!mapped_) return DXGI_ERROR_INVALID_CALL;
    mapped_ = false;
    return S_OK;
}

TexturePixels PixelsOf(const std::shared_ptr<PixelBuffer>& buffer) {
    return {buffer->At(0, 0), static_cast<std::ptrdiff_t>(buffer->Stride()), buffer};
}

D3D11_TEXTURE2D_DESC TextureDescription(int width, int height, D3D11_USAGE usage) {
    D3D11_TEXTURE2D_DESC description{};
    description.Width = static_cast<UINT>(width);
    description.Height = static_cast<UINT>(height);
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = DXGI_FORMAT_B8G8R8X8_UNORM;
    description.SampleDesc.Count = 1;
    description.Usage = usage;
    if (usage == D3D11_USAGE_STAGING) description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    return description;
}

}  // namespace Vimbrel

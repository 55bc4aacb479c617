// A texture: a description and pixels that several textures may share.
#pragma once

#include <d3d11.h>

#include <cstddef>
#include <memory>
#include <utility>

#include "com/ComObject.h"
#include "platform/linux/x11/PixelBuffer.h"

namespace Vimbrel {

// Rows of blue, green, red and an undefined byte.
struct TexturePixels {
    const std::uint8_t* bytes = nullptr;
    std::ptrdiff_t stride = 0;            // a multiple of 4
    std::shared_ptr<const void> owner{};  // of the bytes, which do not change while it is held
};

TexturePixels PixelsOf(const std::shared_ptr<PixelBuffer>& buffer);

class Texture final : public ComObject<Implements<ID3D11Texture2D, ID3D11Resource>,
                                       Implements<IDXGISurface1>, Implements<IDXGIResource>> {
public:
    // Without pixels until some are set or mapped.
    explicit Texture(const D3D11_TEXTURE2D_DESC& description) : description_(description) {}

    void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* description) override {
        *description = description_;
    }
    HRESULT STDMETHODCALLTYPE Map(DXGI_MAPPED_RECT* mapped, UINT flags) override;
    HRESULT STDMETHODCALLTYPE Unmap() override;

    // A texture that its maker keeps for reuse frees its pixels when no one else holds it.
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = ComObject::Release();
        if (left == 1 && kept_by_maker_) pixels_ = {};
        return left;
    }
    void SetKeptByMaker() { kept_by_maker_ = true; }

    // Whoever writes into pixels first makes sure that no other texture holds their owner.
    void SetPixels(TexturePixels pixels) { pixels_ = std::move(pixels); }
    const TexturePixels& Pixels() const { return pixels_; }
    const D3D11_TEXTURE2D_DESC& Description() const { return description_; }

private:
    D3D11_TEXTURE2D_DESC description_;
    TexturePixels pixels_;
    bool mapped_ = false;
    bool kept_by_maker_ = false;
};

// Of a picture in the format that all textures here have.
D3D11_TEXTURE2D_DESC TextureDescription(int width, int height, D3D11_USAGE usage);

}  // namespace Vimbrel

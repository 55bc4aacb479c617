// The device that textures are made on and copied with.
#pragma once

#include <d3d11.h>

#include "com/ComObject.h"
#include "platform/linux/screen/Texture.h"

namespace Vimbrel {

class GraphicsDevice final : public ComObject<Implements<ID3D11Device>, Implements<IDXGIDevice>> {
public:
    HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                              const D3D11_SUBRESOURCE_DATA* data,
                                              ID3D11Texture2D** texture) override;

private:
    ComPtr<Texture> last_;  // reused once no one else holds it
};

class GraphicsContext final : public ComObject<Implements<ID3D11DeviceContext>> {
public:
    void STDMETHODCALLTYPE CopyResource(ID3D11Resource* destination,
                                        ID3D11Resource* source) override;
};

}  // namespace Vimbrel

// A desktop of scripted outputs behind the published interfaces, which cut to what is called exist
// only on Linux.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "ScreenCapture/system/GraphicsSystem.h"
#include "com/ComObject.h"

namespace Vimbrel::test {

// One output; what it gives can be changed between captures.
struct FakeOutput {
    RECT place{};
    int rotation = 1;
    BOOL attached = TRUE;
    HMONITOR monitor = nullptr;
    std::vector<std::uint32_t> pixels;  // in the output's own orientation
    int width = 0;                      // of them
    HRESULT query = S_OK, duplicate = S_OK, acquire = S_OK, map = S_OK;
    BOOL pointer_visible = FALSE;
    POINT pointer{};
    UINT told_size = 0;       // of the shape, in the frame information
    std::vector<BYTE> shape;  // what is really there
    DXGI_OUTDUPL_POINTER_SHAPE_INFO shape_info{};
    int acquired = 0, released = 0;
};

class FakeDxgi final : public GraphicsSystem {
public:
    IDirect3D9* Direct3DCreate9(UINT) override { return nullptr; }
    HRESULT CreateDXGIFactory1(REFIID iid, void** factory) override {
        *factory = nullptr;
        return FAILED(create_factory) ? create_factory
                                      : MakeCom<Factory>(*this)->QueryInterface(iid, factory);
    }
    HRESULT D3D11CreateDevice(IDXGIAdapter*, D3D_DRIVER_TYPE type, HMODULE, UINT flags,
                              const D3D_FEATURE_LEVEL* levels, UINT, UINT sdk,
                              ID3D11Device** device, D3D_FEATURE_LEVEL*,
                              ID3D11DeviceContext** context) override {
        if (type != D3D_DRIVER_TYPE_UNKNOWN || flags || levels || sdk != 7) return E_INVALIDARG;
        if (FAILED(create_device)) return create_device;
        *device = MakeCom<Device>(*this).Detach();
        *context = MakeCom<Context>().Detach();
        return S_OK;
    }

    std::vector<std::vector<FakeOutput*>> adapters;
    HRESULT create_factory = S_OK, create_device = S_OK, create_texture = S_OK;
    bool dxgi_device = true;

private:
    class Texture final : public ComObject<Implements<ID3D11Texture2D, ID3D11Resource>,
                                           Implements<IDXGISurface1>, Implements<IDXGIResource>> {
    public:
        Texture(int w, int h, HRESULT m) : width(w), height(h), map(m) {}
        void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* description) override {
            *description = {};
            description->Width = static_cast<UINT>(width);
            description->Height = static_cast<UINT>(height);
            description->Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        }
        HRESULT STDMETHODCALLTYPE Map(DXGI_MAPPED_RECT* mapped, UINT) override {
            if (SUCCEEDED(map)) *mapped = {width * 4, reinterpret_cast<BYTE*>(pixels.data())};
            return map;
        }
        HRESULT STDMETHODCALLTYPE Unmap() override { return S_OK; }

        int width, height;
        HRESULT map;
        std::vector<std::uint32_t> pixels;
    };

    class Context final : public ComObject<Implements<ID3D11DeviceContext>> {
    public:
        void STDMETHODCALLTYPE CopyResource(ID3D11Resource* to, ID3D11Resource* from) override {
            static_cast<Texture*>(to)->pixels = static_cast<Texture*>(from)->pixels;
            static_cast<Texture*>(to)->map = static_cast<Texture*>(from)->map;
        }
    };

    class Device final : public ComObject<Implements<ID3D11Device>, Implements<IDXGIDevice>> {
    public:
        explicit Device(FakeDxgi& o) : owner(o) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            return iid == IID_IDXGIDevice && !owner.dxgi_device
                       ? E_NOINTERFACE
                       : ComObject::QueryInterface(iid, object);
        }
        HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* d,
                                                  const D3D11_SUBRESOURCE_DATA*,
                                                  ID3D11Texture2D** texture) override {
            const bool staging = d->MipLevels == 1 && d->ArraySize == 1 &&
                                 d->SampleDesc.Count == 1 && d->Usage == 3 &&
                                 d->CPUAccessFlags == 0x20000 && d->BindFlags == 0 &&
                                 d->MiscFlags == 0;
            if (FAILED(owner.create_texture) || !staging)
                return FAILED(owner.create_texture) ? owner.create_texture : E_INVALIDARG;
            *texture =
                MakeCom<Texture>(static_cast<int>(d->Width), static_cast<int>(d->Height), S_OK)
                    .Detach();
            return S_OK;
        }
        FakeDxgi& owner;
    };

    class Duplication final : public ComObject<Implements<IDXGIOutputDuplication>> {
    public:
        explicit Duplication(FakeOutput& o) : output(o) {}
        HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeout, DXGI_OUTDUPL_FRAME_INFO* info,
                                                   IDXGIResource** resource) override {
            *resource = nullptr;
            if (timeout != 100) return E_INVALIDARG;
            if (FAILED(output.acquire)) return output.acquire;
            ++output.acquired;
            info->PointerPosition = {output.pointer, output.pointer_visible};
            info->PointerShapeBufferSize = output.told_size;
            auto texture = MakeCom<Texture>(
                output.width, static_cast<int>(output.pixels.size()) / output.width, output.map);
            texture->pixels = output.pixels;
            *resource = texture.Detach();
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE
        GetFramePointerShape(UINT size, void* buffer, UINT* required,
                             DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) override {
            *required = static_cast<UINT>(output.shape.size());
            if (size < *required) return DXGI_ERROR_MORE_DATA;
            std::copy(output.shape.begin(), output.shape.end(), static_cast<BYTE*>(buffer));
            *info = output.shape_info;
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE ReleaseFrame() override {
            ++output.released;
            return S_OK;
        }
        FakeOutput& output;
    };

    class Output final : public ComObject<Implements<IDXGIOutput1, IDXGIOutput>> {
    public:
        explicit Output(FakeOutput& o) : output(o) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            return iid == IID_IDXGIOutput1 && FAILED(output.query)
                       ? output.query
                       : ComObject::QueryInterface(iid, object);
        }
        HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* description) override {
            *description = {L"FAKE", output.place, output.attached,
                            static_cast<DXGI_MODE_ROTATION>(output.rotation), output.monitor};
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown*,
                                                  IDXGIOutputDuplication** duplication) override {
            *duplication =
                SUCCEEDED(output.duplicate) ? MakeCom<Duplication>(output).Detach() : nullptr;
            return output.duplicate;
        }
        FakeOutput& output;
    };

    class Adapter final : public ComObject<Implements<IDXGIAdapter1, IDXGIAdapter>> {
    public:
        explicit Adapter(std::vector<FakeOutput*>& o) : outputs(o) {}
        HRESULT STDMETHODCALLTYPE EnumOutputs(UINT index, IDXGIOutput** output) override {
            *output = index < outputs.size() ? MakeCom<Output>(*outputs[index]).Detach() : nullptr;
            return *output ? S_OK : DXGI_ERROR_NOT_FOUND;
        }
        std::vector<FakeOutput*>& outputs;
    };

    class Factory final : public ComObject<Implements<IDXGIFactory1>> {
    public:
        explicit Factory(FakeDxgi& o) : owner(o) {}
        HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT index, IDXGIAdapter1** adapter) override {
            *adapter = index < owner.adapters.size()
                           ? MakeCom<Adapter>(owner.adapters[index]).Detach()
                           : nullptr;
            return *adapter ? S_OK : DXGI_ERROR_NOT_FOUND;
        }
        FakeDxgi& owner;
    };
};

}  // namespace Vimbrel::test

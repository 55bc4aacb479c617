#include "platform/linux/wic/FormatConverter.h"

#include <array>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/PbgraSource.h"
#include "platform/linux/wic/palette/IndexedRenderer.h"

namespace Vimbrel {

namespace {

class FormatConverter final
    : public PbgraSource<Implements<IWICFormatConverter, IWICBitmapSource>> {
    using Base = PbgraSource<Implements<IWICFormatConverter, IWICBitmapSource>>;

public:
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source, REFWICPixelFormatGUID target,
                                         WICBitmapDitherType dither, IWICPalette* palette,
                                         double alpha_threshold, WICBitmapPaletteType) override {
        if (plan_.source) return WINCODEC_ERR_WRONGSTATE;
        if (!source) return E_INVALIDARG;
        const bool indexed = target == GUID_WICPixelFormat8bppIndexed;
        if (!indexed && target != GUID_WICPixelFormat32bppPBGRA)
            return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
        if (indexed != (palette != nullptr)) return E_INVALIDARG;
        if (dither != WICBitmapDitherTypeNone && dither != WICBitmapDitherTypeErrorDiffusion)
            return E_INVALIDARG;
        BitmapSource* renderer = AsBitmapSource(source);
        if (!renderer) return E_INVALIDARG;
        if (renderer->Width() == 0) return WINCODEC_ERR_NOTINITIALIZED;
        if (renderer->Straight()) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
        if (indexed) {
            // Asked for nothing but whether it is initialised: its colours may still have to be
            // found, and that is for later.
            BOOL has_alpha = FALSE;
            const HRESULT hr = palette->HasAlpha(&has_alpha);
            if (FAILED(hr)) return hr;
        }
        plan_ = {ComPtr<IWICBitmapSource>(source),
                 ComPtr<IWICPalette>(palette),
                 dither == WICBitmapDitherTypeErrorDiffusion,
                 alpha_threshold,
                 renderer->Width(),
                 renderer->Height()};
        renderer_ = renderer;
        return S_OK;
    }

    const IndexedPlan* Plan() const { return plan_.palette ? &plan_ : nullptr; }

    UINT Width() const override { return plan_.width; }
    UINT Height() const override { return plan_.height; }

    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                        std::uint8_t* pixels, std::size_t stride) override {
        // Nothing takes indexed pixels back to colours.
        if (plan_.palette) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
        return renderer_->RenderPbgra(width, height, mode, pixels, stride);
    }

    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        const HRESULT hr = Base::GetPixelFormat(format);
        if (SUCCEEDED(hr) && plan_.palette) *format = GUID_WICPixelFormat8bppIndexed;
        return hr;
    }

    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        if (!plan_.palette || !palette) return Base::CopyPalette(palette);
        std::array<WICColor, 256> colors{};
        UINT count = 0;
        const HRESULT hr =
            plan_.palette->GetColors(static_cast<UINT>(colors.size()), colors.data(), &count);
        return FAILED(hr) ? hr : palette->InitializeCustom(colors.data(), count);
    }

    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size,
                                         BYTE* pixels) override {
        if (!plan_.palette) return Base::CopyPixels(rect, stride, size, pixels);
        WICRect area{};
        HRESULT hr = CheckCopy(rect, stride, size, pixels, plan_.width, plan_.height, 1, &area);
        if (FAILED(hr)) return hr;
        if (area.X == 0 && static_cast<UINT>(area.Width) == plan_.width &&
            static_cast<UINT>(area.Height) == plan_.height) {
            return RenderIndices(pixels, stride);
        }
        try {
            // Diffused errors come from all around, so a part is cut from the whole.
            std::vector<std::uint8_t> whole(std::size_t{plan_.width} * plan_.height);
            hr = RenderIndices(whole.data(), plan_.width);
            if (FAILED(hr)) return hr;
            for (INT y = 0; y < area.Height; ++y) {
                std::memcpy(pixels + std::size_t{stride} * static_cast<std::size_t>(y),
                            whole.data() + static_cast<std::size_t>(area.Y + y) * plan_.width +
                                static_cast<std::size_t>(area.X),
                            static_cast<std::size_t>(area.Width));
            }
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

private:
    HRESULT RenderIndices(std::uint8_t* indices, std::size_t stride) {
        return RenderIndexed(*renderer_, plan_.width, plan_.height, plan_.palette.Get(),
                             plan_.diffuse, plan_.alpha_threshold_percent, indices, stride);
    }

    IndexedPlan plan_;
    BitmapSource* renderer_ = nullptr;
};

}  // namespace

const IndexedPlan* AsIndexedPlan(IWICBitmapSource* converter) {
    const auto* own = dynamic_cast<const FormatConverter*>(converter);
    return own ? own->Plan() : nullptr;
}

HRESULT CreateFormatConverter(IWICFormatConverter** converter) {
    return CreateCom<FormatConverter>(converter);
}

}  // namespace Vimbrel

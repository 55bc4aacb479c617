#include "Source/record/GifFrameWriter.h"

#include <cmath>

#include "Source/record/PropertyValues.h"

namespace Vimbrel {

namespace {

constexpr UINT palette_size = 256;
constexpr std::uint8_t transparent_index = 255;

}  // namespace

bool GifFrameWriter::Convert(IWICBitmap* bitmap, bool transparent,
                             ComPtr<IWICFormatConverter>& converter, BOOL& has_alpha) const {
    ComPtr<IWICBitmapScaler> scaler;
    if (FAILED(factory->CreateBitmapScaler(scaler.Put()))) return false;
    if (FAILED(scaler->Initialize(bitmap, output_width, output_height,
                                  WICBitmapInterpolationModeLinear)))
        return false;
    bitmap->CopyPalette(nullptr);
    ComPtr<IWICPalette> palette;
    if (FAILED(factory->CreatePalette(palette.Put()))) return false;
    if (FAILED(palette->InitializeFromBitmap(bitmap, palette_size, transparent))) return false;
    if (FAILED(palette->HasAlpha(&has_alpha))) return false;
    return SUCCEEDED(converter->Initialize(
        scaler.Get(), GUID_WICPixelFormat8bppIndexed,
        error_diffusion ? WICBitmapDitherTypeErrorDiffusion : WICBitmapDitherTypeNone,
        palette.Get(), has_alpha ? static_cast<double>(alpha_threshold_percent) : 0.0,
        WICBitmapPaletteTypeFixedWebPalette));
}

bool GifFrameWriter::Write(void* data, unsigned width, unsigned height, unsigned stride,
                           bool transparent) const {
    // Hundredths of a second.
    const std::uint32_t delay =
        fps == 0 ? 0 : static_cast<std::uint32_t>(std::round(100.0f / static_cast<float>(fps)));
    ComPtr<IWICFormatConverter> converter;
    if (FAILED(factory->CreateFormatConverter(converter.Put()))) return false;
    ComPtr<IWICBitmap> bitmap;
    if (FAILED(factory->CreateBitmapFromMemory(width, height, GUID_WICPixelFormat32bppPBGRA, stride,
                                               stride * height, static_cast<BYTE*>(data),
                                               bitmap.Put())))
        return false;
    BOOL has_alpha = FALSE;
    if (!Convert(bitmap.Get(), transparent, converter, has_alpha)) return false;
    ComPtr<IWICBitmapFrameEncode> frame;
    if (FAILED(encoder->CreateNewFrame(frame.Put(), nullptr))) return false;
    if (FAILED(frame->Initialize(nullptr))) return false;
    if (FAILED(frame->WriteSource(converter.Get(), nullptr))) return false;
    ComPtr<IWICMetadataQueryWriter> writer;
    if (FAILED(frame->GetMetadataQueryWriter(writer.Put()))) return false;
    if (FAILED(frame->Commit())) return false;

    // Kept: set after the commit and without a look at the results, because the picture is whole
    // without them.
    const auto set = [&](const wchar_t* path, const PROPVARIANT& value) {
        writer->SetMetadataByName(path, &value);
    };
    set(L"/grctlext/Delay", Word(delay));
    if (has_alpha) {
        set(L"/grctlext/TransparencyFlag", Flag(true));
        set(L"/grctlext/TransparentColorIndex", Byte(transparent_index));
    }
    set(L"/imgdesc/Width", Word(width));
    set(L"/imgdesc/Height", Word(height));
    return true;
}

}  // namespace Vimbrel

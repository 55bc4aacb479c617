#include "tests/platform/linux/wic/GifTestKit.h"

#include <objbase.h>

#include <cstdio>
#include <cstring>

namespace Vimbrel::test {

ComPtr<IWICImagingFactory2> Factory() {
    ComPtr<IWICImagingFactory2> factory;
    EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                               IID_PPV_ARGS(factory.Put())),
              S_OK);
    return factory;
}

HRESULT OpenGif(const Bytes& bytes, ComPtr<IWICBitmapDecoder>& decoder) {
    const TempFolder folder;  // the decoder keeps the file open
    return Factory()->CreateDecoderFromFilename(folder.Write("a.gif", bytes).wstring().c_str(),
                                                nullptr, GENERIC_READ,
                                                WICDecodeMetadataCacheOnDemand, decoder.Put());
}

ComPtr<IWICBitmapDecoder> OpenedGif(const Bytes& bytes) {
    ComPtr<IWICBitmapDecoder> decoder;
    EXPECT_EQ(OpenGif(bytes, decoder), S_OK);
    return decoder;
}

UINT CountOf(IWICBitmapDecoder* decoder) {
    UINT count = 0;
    EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
    return count;
}

ComPtr<IWICBitmapFrameDecode> FrameOf(IWICBitmapDecoder* decoder, UINT index) {
    ComPtr<IWICBitmapFrameDecode> frame;
    EXPECT_EQ(decoder->GetFrame(index, frame.Put()), S_OK) << "frame " << index;
    return frame;
}

Bytes IndicesOf(IWICBitmapSource* source) {
    UINT width = 0;
    UINT height = 0;
    EXPECT_EQ(source->GetSize(&width, &height), S_OK);
    Bytes indices(std::size_t{width} * height);
    EXPECT_EQ(source->CopyPixels(nullptr, width, static_cast<UINT>(indices.size()), indices.data()),
              S_OK);
    return indices;
}

std::vector<std::uint32_t> PixelsOf(IWICBitmapSource* source) {
    ComPtr<IWICFormatConverter> converter;
    EXPECT_EQ(Factory()->CreateFormatConverter(converter.Put()), S_OK);
    EXPECT_EQ(converter->Initialize(source, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                    nullptr, 0.0, WICBitmapPaletteTypeCustom),
              S_OK);
    UINT width = 0;
    UINT height = 0;
    EXPECT_EQ(converter->GetSize(&width, &height), S_OK);
    std::vector<std::uint32_t> pixels(std::size_t{width} * height);
    EXPECT_EQ(converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size() * 4),
                                    reinterpret_cast<BYTE*>(pixels.data())),
              S_OK);
    return pixels;
}

std::vector<WICColor> ColorsOf(IWICPalette* palette) {
    std::vector<WICColor> colors(256);
    UINT count = 0;
    EXPECT_EQ(palette->GetColors(256, colors.data(), &count), S_OK);
    colors.resize(count);
    return colors;
}

std::string ItemText(IWICMetadataQueryReader* reader, const wchar_t* path) {
    PROPVARIANT value{};
    const HRESULT hr = reader->GetMetadataByName(path, &value);
    if (hr == WINCODEC_ERR_PROPERTYNOTFOUND) return "missing";
    char text[32];
    if (FAILED(hr)) {
        std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(hr));
        return text;
    }
    std::string result = "type " + std::to_string(value.vt);
    if (value.vt == VT_UI1) result = "ui1:" + std::to_string(value.bVal);
    if (value.vt == VT_UI2) result = "ui2:" + std::to_string(value.uiVal);
    if (value.vt == VT_BOOL)
        result = value.boolVal == VARIANT_TRUE    ? "bool:1"
                 : value.boolVal == VARIANT_FALSE ? "bool:0"
                                                  : "bool:?";
    if (value.vt == VT_LPSTR) result = std::string("text:") + value.pszVal;
    if (value.vt == (VT_VECTOR | VT_UI1)) {
        result = "bytes:";
        for (ULONG i = 0; i < value.caub.cElems; ++i) {
            std::snprintf(text, sizeof text, i == 0 ? "%02x" : " %02x", value.caub.pElems[i]);
            result += text;
        }
    }
    PropVariantClear(&value);
    return result;
}

std::vector<std::uint32_t> DecodeWithFfmpeg(const TempFolder& folder, const std::string& name) {
    EXPECT_EQ(folder.Run("ffmpeg -v warning -y -i " + name +
                         " -fps_mode passthrough -f rawvideo -pix_fmt bgra raw"),
              "")
        << "no warnings";
    const Bytes bytes = ReadBytes(folder / "raw");
    std::vector<std::uint32_t> pixels(bytes.size() / 4);
    std::memcpy(pixels.data(), bytes.data(), pixels.size() * 4);
    return pixels;
}

ComPtr<IWICBitmap> MakeBitmap(UINT width, UINT height,
                              const std::function<std::uint32_t(UINT x, UINT y)>& pixel) {
    std::vector<std::uint32_t> pixels;
    for (UINT y = 0; y < height; ++y) {
        for (UINT x = 0; x < width; ++x) pixels.push_back(pixel(x, y));
    }
    ComPtr<IWICBitmap> bitmap;
    EXPECT_EQ(
        Factory()->CreateBitmapFromMemory(width, height, GUID_WICPixelFormat32bppPBGRA, width * 4,
                                          static_cast<UINT>(pixels.size() * 4),
                                          reinterpret_cast<BYTE*>(pixels.data()), bitmap.Put()),
        S_OK);
    return bitmap;
}

}  // namespace Vimbrel::test

// The GIF half of MediaSourcePicture: metadata and raw frames.
#include <wincodec.h>

#include <array>
#include <cstring>
#include <new>
#include <string_view>

#include "com/ComPtr.h"
#include "vimbrel/AppLog.h"
#include "vimbrel/MediaSourcePicture.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;

// Shorter frames are stretched to this.
constexpr std::uint32_t minimum_delay_ms = 90;

// A metadata item that frees itself.
class MetadataValue {
public:
    MetadataValue() { PropVariantInit(&value); }
    ~MetadataValue() { PropVariantClear(&value); }
    MetadataValue(const MetadataValue&) = delete;
    MetadataValue& operator=(const MetadataValue&) = delete;

    // E_FAIL for an item of another type.
    HRESULT Read(IWICMetadataQueryReader* reader, const wchar_t* path, VARTYPE type) {
        const HRESULT hr = reader->GetMetadataByName(path, &value);
        if (FAILED(hr)) return hr;
        return value.vt == type ? S_OK : E_FAIL;
    }

    PROPVARIANT value;
};

HRESULT ReadByte(IWICMetadataQueryReader* reader, const wchar_t* path, std::uint8_t& number) {
    MetadataValue item;
    const HRESULT hr = item.Read(reader, path, VT_UI1);
    if (SUCCEEDED(hr)) number = item.value.bVal;
    return hr;
}

HRESULT ReadWord(IWICMetadataQueryReader* reader, const wchar_t* path, std::uint16_t& number) {
    MetadataValue item;
    const HRESULT hr = item.Read(reader, path, VT_UI2);
    if (SUCCEEDED(hr)) number = item.value.uiVal;
    return hr;
}

HRESULT ReadFlag(IWICMetadataQueryReader* reader, const wchar_t* path, bool& flag) {
    MetadataValue item;
    const HRESULT hr = item.Read(reader, path, VT_BOOL);
    if (SUCCEEDED(hr)) flag = item.value.boolVal != VARIANT_FALSE;
    return hr;
}

void ReadLoopCount(IWICMetadataQueryReader* reader, MediaSourcePicture::Gif& gif) {
    MetadataValue application;
    if (FAILED(application.Read(reader, L"/appext/application", VT_VECTOR | VT_UI1)) ||
        application.value.caub.cElems != 11)
        return;
    const std::string_view name(reinterpret_cast<const char*>(application.value.caub.pElems), 11);
    if (name != "NETSCAPE2.0" && name != "ANIMEXTS1.0") return;
    MetadataValue data;
    if (FAILED(data.Read(reader, L"/appext/data", VT_VECTOR | VT_UI1)) ||
        data.value.caub.cElems < 4)
        return;
    const UCHAR* bytes = data.value.caub.pElems;
    if (bytes[0] > 0 && bytes[1] == 1) {
        gif.loopCount = bytes[2] | static_cast<std::uint32_t>(bytes[3]) << 8;
        gif.hasLoop = gif.loopCount != 0;
    }
}

// The display size is the logical size stretched by the aspect ratio that `aspect` codes, never
// enlarged.
void SetDisplaySize(MediaSourcePicture::Gif& gif, std::uint8_t aspect) {
    gif.displayWidth = gif.width;
    gif.displayHeight = gif.height;
    if (aspect == 0) return;
    const float ratio = (static_cast<float>(aspect) + 15.0f) * 0.015625f;
    if (ratio > 1.0f) {
        gif.displayHeight = static_cast<std::uint32_t>(static_cast<float>(gif.height) / ratio);
    } else {
        gif.displayWidth = static_cast<std::uint32_t>(static_cast<float>(gif.width) * ratio);
    }
}

}  // namespace

long MediaSourcePicture::GetGifMeta(IWICImagingFactory* factory, IWICBitmapDecoder* decoder) {
    gif = std::make_unique<Gif>();
    ComPtr<IWICMetadataQueryReader> reader;
    decoder->GetMetadataQueryReader(reader.Put());
    if (!reader) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - GetMetadataQueryReader returns null");
        return E_FAIL;
    }
    GetGifBkgColor(factory, decoder, reader.Get());

    std::uint16_t side = 0;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/logscrdesc/Width", side))) gif->width = side;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/logscrdesc/Height", side))) gif->height = side;
    std::uint8_t aspect = 0;
    if (SUCCEEDED(ReadByte(reader.Get(), L"/logscrdesc/PixelAspectRatio", aspect)))
        SetDisplaySize(*gif, aspect);
    ReadLoopCount(reader.Get(), *gif);

    for (int index = 0; index < frameCount; ++index) GetGifFrame(factory, decoder, index);
    return S_OK;
}

long MediaSourcePicture::GetGifBkgColor(IWICImagingFactory* factory, IWICBitmapDecoder* decoder,
                                        IWICMetadataQueryReader* reader) {
    bool has_table = false;
    HRESULT hr = ReadFlag(reader, L"/logscrdesc/GlobalColorTableFlag", has_table);
    if (FAILED(hr)) return hr;
    if (!has_table) return E_FAIL;
    std::uint8_t index = 0;
    hr = ReadByte(reader, L"/logscrdesc/BackgroundColorIndex", index);
    if (FAILED(hr)) return hr;

    ComPtr<IWICPalette> palette;
    hr = factory->CreatePalette(palette.Put());
    if (FAILED(hr)) return hr;
    hr = decoder->CopyPalette(palette.Get());
    if (FAILED(hr)) return hr;
    std::array<WICColor, 256> colors{};
    UINT count = 0;
    hr = palette->GetColors(static_cast<UINT>(colors.size()), colors.data(), &count);
    if (FAILED(hr)) return hr;
    if (index >= count) return E_FAIL;
    gif->backgroundColor = colors[index];
    return S_OK;
}

long MediaSourcePicture::GetGifFrame(IWICImagingFactory* factory, IWICBitmapDecoder* decoder,
                                     int index) {
    auto result = std::make_unique<Frame>();
    ComPtr<IWICBitmapFrameDecode> frame;
    HRESULT hr = decoder->GetFrame(static_cast<UINT>(index), frame.Put());
    if (FAILED(hr)) return hr;
    ComPtr<IWICFormatConverter> converter;
    hr = factory->CreateFormatConverter(converter.Put());
    if (FAILED(hr)) return hr;
    hr = converter->Initialize(frame.Get(), GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                               nullptr, 0.0, WICBitmapPaletteTypeCustom);
    if (FAILED(hr)) return hr;
    ComPtr<IWICMetadataQueryReader> reader;
    hr = frame->GetMetadataQueryReader(reader.Put());
    if (FAILED(hr)) return hr;

    std::uint16_t word = 0;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/imgdesc/Left", word))) result->left = word;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/imgdesc/Top", word))) result->top = word;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/imgdesc/Width", word)))
        result->right = word + result->left;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/imgdesc/Height", word)))
        result->bottom = word + result->top;
    if (SUCCEEDED(ReadWord(reader.Get(), L"/grctlext/Delay", word))) result->delay = word * 10u;
    if (result->delay < minimum_delay_ms) result->delay = minimum_delay_ms;
    std::uint8_t byte = 0;
    if (SUCCEEDED(ReadByte(reader.Get(), L"/grctlext/Disposal", byte))) result->disposal = byte;
    ReadFlag(reader.Get(), L"/grctlext/TransparencyFlag", result->transparent);
    // Only the result counts: the index itself is already in the pixels' alpha.
    const HRESULT transparent_index_result =
        ReadByte(reader.Get(), L"/grctlext/TransparentColorIndex", byte);

    UINT width = 0;
    UINT height = 0;
    converter->GetSize(&width, &height);
    if (width == 0 || static_cast<std::int32_t>(height) <= 0) return transparent_index_result;
    const UINT stride = width * 4;
    const std::size_t size = std::size_t{stride} * height;
    result->pixels = new (std::nothrow) unsigned char[size];
    if (!result->pixels) return E_OUTOFMEMORY;
    result->width = width;
    result->height = height;
    if (FAILED(converter->CopyPixels(nullptr, stride, static_cast<UINT>(size), result->pixels)))
        std::memset(result->pixels, 0, size);
    frames.push_back(std::move(result));
    return transparent_index_result;
}

}  // namespace Vimbrel

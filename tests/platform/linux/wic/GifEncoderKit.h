// What the tests of the GIF encoder share: items, sources, and an encoder into memory.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "com/ComObject.h"
#include "platform/linux/wic/BitmapSource.h"
#include "tests/platform/linux/wic/GifTestKit.h"

namespace Vimbrel::test {

inline PROPVARIANT Number(VARTYPE type, unsigned number) {
    PROPVARIANT value{};
    value.vt = type;
    value.uiVal = static_cast<USHORT>(number);
    return value;
}

inline PROPVARIANT Blob(const std::string& text, std::size_t size = std::string::npos) {
    PROPVARIANT value{};
    value.vt = VT_VECTOR | VT_UI1;
    value.caub = {static_cast<ULONG>(std::min(size, text.size())),
                  reinterpret_cast<UCHAR*>(const_cast<char*>(text.data()))};
    return value;
}

inline PROPVARIANT Flag(bool on) { return Number(VT_BOOL, on ? 0xFFFF : 0); }

// Collects what is written, and can be made to fail.
class MemoryStream final : public ComObject<Implements<IStream, ISequentialStream>> {
public:
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Write(const void* data, ULONG size, ULONG*) override {
        if (bytes.size() + size > limit) return HRESULT_FROM_WIN32(ERROR_DISK_FULL);
        bytes.insert(bytes.end(), static_cast<const std::uint8_t*>(data),
                     static_cast<const std::uint8_t*>(data) + size);
        return S_OK;
    }
    Bytes bytes;
    std::size_t limit = std::size_t{1} << 30;
};

// Hides what a source is, so that its pixels are copied rather than planned.
class PlainSource final : public ComObject<Implements<IWICBitmapSource>> {
public:
    explicit PlainSource(IWICBitmapSource* source) : source_(source) {}
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override {
        return source_->GetSize(width, height);
    }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        return source_->GetPixelFormat(format);
    }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        return source_->CopyPalette(palette);
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size,
                                         BYTE* pixels) override {
        return source_->CopyPixels(rect, stride, size, pixels);
    }

private:
    ComPtr<IWICBitmapSource> source_;
};

// A bitmap that cannot be read.
class BrokenBitmap final : public ComObject<Implements<IWICBitmap, IWICBitmapSource>>,
                           public BitmapSource {
public:
    UINT Width() const override { return 8; }
    UINT Height() const override { return 8; }
    HRESULT RenderPbgra(UINT, UINT, WICBitmapInterpolationMode, std::uint8_t*,
                        std::size_t) override {
        return E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override {
        return *width = *height = 8, S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        return *format = GUID_WICPixelFormat32bppPBGRA, S_OK;
    }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette*) override {
        return WINCODEC_ERR_PALETTEUNAVAILABLE;
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect*, UINT, UINT, BYTE*) override {
        return E_OUTOFMEMORY;
    }
};

class GifEncoderTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(
            Factory()->CreateEncoder(GUID_ContainerFormatGif, &GUID_VendorMicrosoft, encoder.Put()),
            S_OK);
        ASSERT_EQ(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), S_OK);
    }

    static ComPtr<IWICPalette> PaletteOf(IWICBitmapSource* bitmap, bool transparent = false) {
        ComPtr<IWICPalette> palette;
        EXPECT_EQ(Factory()->CreatePalette(palette.Put()), S_OK);
        EXPECT_EQ(palette->InitializeFromBitmap(bitmap, 256, transparent), S_OK);
        return palette;
    }

    static ComPtr<IWICFormatConverter> Convert(IWICBitmapSource* bitmap, IWICPalette* palette,
                                               double threshold = 0.0) {
        ComPtr<IWICFormatConverter> converter;
        EXPECT_EQ(Factory()->CreateFormatConverter(converter.Put()), S_OK);
        EXPECT_EQ(converter->Initialize(bitmap, GUID_WICPixelFormat8bppIndexed,
                                        WICBitmapDitherTypeErrorDiffusion, palette, threshold,
                                        WICBitmapPaletteTypeFixedWebPalette),
                  S_OK);
        return converter;
    }

    ComPtr<IWICBitmapFrameEncode> NewFrame() {
        ComPtr<IWICBitmapFrameEncode> frame;
        EXPECT_EQ(encoder->CreateNewFrame(frame.Put(), nullptr), S_OK);
        if (frame) {
            EXPECT_EQ(frame->Initialize(nullptr), S_OK);
        }
        return frame;
    }

    ComPtr<IWICBitmapFrameEncode> AddFrame(IWICBitmapSource* source) {
        auto frame = NewFrame();
        if (!frame) return frame;
        EXPECT_EQ(frame->WriteSource(source, nullptr), S_OK);
        EXPECT_EQ(frame->Commit(), S_OK);
        return frame;
    }

    ComPtr<IWICBitmapFrameEncode> AddPlain(std::uint32_t color, UINT width = 4, UINT height = 3) {
        const auto bitmap = MakeBitmap(width, height, [&](UINT, UINT) { return color; });
        return AddFrame(Convert(bitmap.Get(), PaletteOf(bitmap.Get()).Get()).Get());
    }

    template <class Object>
    static HRESULT Set(Object& object, const wchar_t* path, const PROPVARIANT& value) {
        ComPtr<IWICMetadataQueryWriter> writer;
        EXPECT_EQ(object->GetMetadataQueryWriter(writer.Put()), S_OK);
        return writer->SetMetadataByName(path, &value);
    }

    ComPtr<IWICBitmapDecoder> Finished() {
        encoder.Reset();
        return OpenedGif(stream->bytes);
    }

    ComPtr<MemoryStream> stream = MakeCom<MemoryStream>();
    ComPtr<IWICBitmapEncoder> encoder;
};

}  // namespace Vimbrel::test

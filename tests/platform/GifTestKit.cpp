#include "tests/platform/GifTestKit.h"

#include <objbase.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace Vimbrel::Test {

namespace {

void PutWord(Bytes& bytes, unsigned value) {
    bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

unsigned BitsFor(std::size_t colors) {
    unsigned bits = 1;
    while ((std::size_t{1} << bits) < colors) ++bits;
    return bits;
}

void PutPalette(Bytes& bytes, const std::vector<std::uint32_t>& palette) {
    for (const std::uint32_t color : palette) {
        for (int shift = 16; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(color >> shift));
    }
}

// Literal codes only, with a clear code before the codes would grow.
Bytes Compress(const Bytes& indices, unsigned code_size) {
    Bytes result;
    std::uint32_t pending = 0;
    unsigned bits = 0;
    const auto put = [&](unsigned code) {
        pending |= code << bits;
        for (bits += code_size + 1; bits >= 8; bits -= 8, pending >>= 8) result.push_back(static_cast<std::uint8_t>(pending));
    };
    const unsigned clear = 1u << code_size;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (i % (clear - 2) == 0) put(clear);
        put(indices[i]);
    }
    put(clear + 1);
    if (bits > 0) result.push_back(static_cast<std::uint8_t>(pending));
    return result;
}

}  // namespace

GifBuilder::GifBuilder(unsigned width, unsigned height, const std::vector<std::uint32_t>& palette, std::uint8_t background,
                       std::uint8_t aspect, const char* signature)
    : bytes(signature, signature + 6) {
    PutWord(bytes, width);
    PutWord(bytes, height);
    bytes.push_back(static_cast<std::uint8_t>(palette.empty() ? 0x70 : 0xF0 | (BitsFor(palette.size()) - 1)));
    bytes.push_back(background);
    bytes.push_back(aspect);
    PutPalette(bytes, palette);
}

GifBuilder& GifBuilder::Control(unsigned delay, unsigned disposal, bool transparent, unsigned index) {
    return Extension(0xF9, {{static_cast<std::uint8_t>(disposal << 2 | (transparent ? 1 : 0)), static_cast<std::uint8_t>(delay & 0xFF),
                             static_cast<std::uint8_t>(delay >> 8), static_cast<std::uint8_t>(index)}});
}

GifBuilder& GifBuilder::Extension(std::uint8_t label, const std::vector<Bytes>& blocks) {
    Raw({'!', label});
    for (const Bytes& block : blocks) Raw({static_cast<std::uint8_t>(block.size())}).Raw(block);
    return Raw({0});
}

GifBuilder& GifBuilder::Application(const std::string& name, const Bytes& block) {
    return Extension(0xFF, {Bytes(name.begin(), name.end()), block});
}

GifBuilder& GifBuilder::Raw(const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
}

GifBuilder& GifBuilder::Image(unsigned left, unsigned top, unsigned width, unsigned height, const Bytes& indices, bool interlaced,
                              const std::vector<std::uint32_t>& palette) {
    bytes.push_back(',');
    for (const unsigned value : {left, top, width, height}) PutWord(bytes, value);
    bytes.push_back(static_cast<std::uint8_t>((interlaced ? 0x40 : 0) | (palette.empty() ? 0 : 0x80 | (BitsFor(palette.size()) - 1))));
    PutPalette(bytes, palette);
    Bytes ordered = indices;
    if (interlaced) {
        ordered.clear();
        const unsigned passes[][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
        for (const auto& [first, step] : passes) {
            for (unsigned row = first; row < height; row += step)
                ordered.insert(ordered.end(), indices.begin() + row * width, indices.begin() + (row + 1) * width);
        }
    }
    constexpr unsigned code_size = 4;
    bytes.push_back(code_size);
    const Bytes packed = Compress(ordered, code_size);
    for (std::size_t at = 0; at < packed.size(); at += 255) {
        const std::size_t size = std::min<std::size_t>(255, packed.size() - at);
        bytes.push_back(static_cast<std::uint8_t>(size));
        bytes.insert(bytes.end(), packed.begin() + static_cast<std::ptrdiff_t>(at),
                     packed.begin() + static_cast<std::ptrdiff_t>(at + size));
    }
    return Raw({0});
}

TemporaryFile::TemporaryFile(const Bytes& bytes) {
    char name[] = "/tmp/gif_test.XXXXXX";
    const int file = mkstemp(name);
    EXPECT_GE(file, 0);
    close(file);
    path_ = name;
    Write(bytes);
}

TemporaryFile::~TemporaryFile() { unlink(path_.c_str()); }

Bytes TemporaryFile::Read() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void TemporaryFile::Write(const Bytes& bytes) const {
    std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
    if (!pipe) return result;
    char part[4096];
    for (std::size_t size = 0; (size = std::fread(part, 1, sizeof part, pipe)) > 0;) result.output.append(part, size);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

ComPtr<IWICImagingFactory2> Factory() {
    ComPtr<IWICImagingFactory2> factory;
    EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(factory.Put())), S_OK);
    return factory;
}

HRESULT OpenGif(const Bytes& bytes, ComPtr<IWICBitmapDecoder>& decoder) {
    const TemporaryFile file(bytes);  // the decoder keeps it open
    return Factory()->CreateDecoderFromFilename(file.WidePath().c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand,
                                                decoder.Put());
}

ComPtr<IWICBitmapDecoder> OpenedGif(const Bytes& bytes) {
    ComPtr<IWICBitmapDecoder> decoder;
    EXPECT_EQ(OpenGif(bytes, decoder), S_OK);
    return decoder;
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
    EXPECT_EQ(source->CopyPixels(nullptr, width, static_cast<UINT>(indices.size()), indices.data()), S_OK);
    return indices;
}

std::vector<std::uint32_t> PixelsOf(IWICBitmapSource* source) {
    ComPtr<IWICFormatConverter> converter;
    EXPECT_EQ(Factory()->CreateFormatConverter(converter.Put()), S_OK);
    EXPECT_EQ(
        converter->Initialize(source, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone, nullptr, 0.0, WICBitmapPaletteTypeCustom),
        S_OK);
    UINT width = 0;
    UINT height = 0;
    EXPECT_EQ(converter->GetSize(&width, &height), S_OK);
    std::vector<std::uint32_t> pixels(std::size_t{width} * height);
    EXPECT_EQ(converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size() * 4), reinterpret_cast<BYTE*>(pixels.data())),
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
    std::string result;
    if (FAILED(hr)) {
        std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(hr));
        return text;
    }
    switch (value.vt) {
        case VT_UI1:
            result = "ui1:" + std::to_string(value.bVal);
            break;
        case VT_UI2:
            result = "ui2:" + std::to_string(value.uiVal);
            break;
        case VT_BOOL:
            result = value.boolVal == VARIANT_TRUE ? "bool:1" : value.boolVal == VARIANT_FALSE ? "bool:0" : "bool:?";
            break;
        case VT_LPSTR:
            result = std::string("text:") + value.pszVal;
            break;
        case VT_VECTOR | VT_UI1:
            result = "bytes:";
            for (ULONG i = 0; i < value.caub.cElems; ++i) {
                std::snprintf(text, sizeof text, i == 0 ? "%02x" : " %02x", value.caub.pElems[i]);
                result += text;
            }
            break;
        default:
            result = "type " + std::to_string(value.vt);
    }
    PropVariantClear(&value);
    return result;
}

ComPtr<IWICBitmap> MakeBitmap(UINT width, UINT height, const std::function<std::uint32_t(UINT x, UINT y)>& pixel) {
    std::vector<std::uint32_t> pixels;
    for (UINT y = 0; y < height; ++y) {
        for (UINT x = 0; x < width; ++x) pixels.push_back(pixel(x, y));
    }
    ComPtr<IWICBitmap> bitmap;
    EXPECT_EQ(Factory()->CreateBitmapFromMemory(width, height, GUID_WICPixelFormat32bppPBGRA, width * 4,
                                                static_cast<UINT>(pixels.size() * 4), reinterpret_cast<BYTE*>(pixels.data()), bitmap.Put()),
              S_OK);
    return bitmap;
}

}  // namespace Vimbrel::Test

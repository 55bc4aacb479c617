// What the GIF tests share: files made byte by byte, and short ways to the imaging objects.
#pragma once

#include <gtest/gtest.h>
#include <wincodec.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "com/ComPtr.h"

namespace Vimbrel::Test {

using Bytes = std::vector<std::uint8_t>;

// Builds a GIF block after block.
class GifBuilder {
public:
    // A global palette of 2^n colours (0xRRGGBB), or none.
    GifBuilder(unsigned width, unsigned height, const std::vector<std::uint32_t>& palette = {0x000000, 0xFF0000, 0x00FF00, 0x0000FF},
               std::uint8_t background = 0, std::uint8_t aspect = 0, const char* signature = "GIF89a");

    GifBuilder& Control(unsigned delay, unsigned disposal, bool transparent, unsigned index);
    GifBuilder& Extension(std::uint8_t label, const std::vector<Bytes>& blocks);
    GifBuilder& Application(const std::string& name, const Bytes& block);
    GifBuilder& Raw(const Bytes& bytes);
    // Rows of indices from top to bottom; written in the order of the file.
    GifBuilder& Image(unsigned left, unsigned top, unsigned width, unsigned height, const Bytes& indices, bool interlaced = false,
                      const std::vector<std::uint32_t>& palette = {});
    GifBuilder& Trailer() { return Raw({';'}); }

    Bytes bytes;
};

// A file that is there as long as this is.
class TemporaryFile {
public:
    explicit TemporaryFile(const Bytes& bytes = {});
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path_; }
    std::wstring WidePath() const { return {path_.begin(), path_.end()}; }
    Bytes Read() const;
    void Write(const Bytes& bytes) const;

private:
    std::string path_;
};

struct CommandResult {
    int status = -1;
    std::string output;  // both streams
};
CommandResult RunCommand(const std::string& command);

ComPtr<IWICImagingFactory2> Factory();
HRESULT OpenGif(const Bytes& bytes, ComPtr<IWICBitmapDecoder>& decoder);
// Fails the test and gives null for a file that is not taken.
ComPtr<IWICBitmapDecoder> OpenedGif(const Bytes& bytes);
ComPtr<IWICBitmapFrameDecode> FrameOf(IWICBitmapDecoder* decoder, UINT index);
Bytes IndicesOf(IWICBitmapSource* source);
// Premultiplied pixels as 0xAARRGGBB.
std::vector<std::uint32_t> PixelsOf(IWICBitmapSource* source);
std::vector<WICColor> ColorsOf(IWICPalette* palette);

// An item as text: "ui1:5", "ui2:7", "bool:1", "text:abc", "bytes:03 01", "missing", or the failure in hexadecimal.
std::string ItemText(IWICMetadataQueryReader* reader, const wchar_t* path);

template <class Object>
std::string ItemOf(Object* object, const wchar_t* path) {
    ComPtr<IWICMetadataQueryReader> reader;
    return SUCCEEDED(object->GetMetadataQueryReader(reader.Put())) ? ItemText(reader.Get(), path) : "no reader";
}

ComPtr<IWICBitmap> MakeBitmap(UINT width, UINT height, const std::function<std::uint32_t(UINT x, UINT y)>& pixel);

}  // namespace Vimbrel::Test

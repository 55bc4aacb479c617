// Reads all that a GIF offers: global metadata and palette, then each frame's metadata, palette and
// pixels.
#include <objbase.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wincodec.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "com/ComPtr.h"
#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace {

using Vimbrel::ComPtr;

// Larger frames are decoded but not rendered: that would only take time.
constexpr std::uint64_t rendered_limit = 1 << 20;

template <class Object>
void ReadItems(Object* object) {
    static constexpr const wchar_t* paths[] = {
        L"/logscrdesc/Width",
        L"/logscrdesc/Height",
        L"/logscrdesc/PixelAspectRatio",
        L"/logscrdesc/GlobalColorTableFlag",
        L"/appext/application",
        L"/appext/data",
        L"/logscrdesc/BackgroundColorIndex",
        L"/commentext/TextEntry",
        L"/imgdesc/Left",
        L"/imgdesc/Top",
        L"/imgdesc/Width",
        L"/imgdesc/Height",
        L"/imgdesc/InterlaceFlag",
        L"/grctlext/Delay",
        L"/grctlext/Disposal",
        L"/grctlext/TransparencyFlag",
        L"/grctlext/TransparentColorIndex",
    };
    ComPtr<IWICMetadataQueryReader> reader;
    if (FAILED(object->GetMetadataQueryReader(reader.Put()))) std::abort();
    for (const wchar_t* path : paths) {
        PROPVARIANT value{};
        if (SUCCEEDED(reader->GetMetadataByName(path, &value))) PropVariantClear(&value);
    }
}

void ReadFrame(IWICBitmapFrameDecode* frame) {
    ReadItems(frame);
    UINT width = 0;
    UINT height = 0;
    ComPtr<IWICPalette> palette;
    WICColor colors[256];
    UINT count = 0;
    if (FAILED(frame->GetSize(&width, &height)) || FAILED(Vimbrel::CreatePalette(palette.Put())) ||
        FAILED(frame->CopyPalette(palette.Get())) ||
        FAILED(palette->GetColors(256, colors, &count))) {
        std::abort();
    }
    const std::uint64_t size = std::uint64_t{width} * height;
    if (size > rendered_limit) return;
    std::vector<std::uint8_t> indices(size);
    if (FAILED(frame->CopyPixels(nullptr, width, static_cast<UINT>(size), indices.data())))
        std::abort();
    for (const std::uint8_t index : indices) {
        if (index >= count) std::abort();
    }
    std::vector<std::uint8_t> pixels(size * 4);
    if (FAILED(Vimbrel::AsBitmapSource(frame)->RenderPbgra(
            width, height, WICBitmapInterpolationModeNearestNeighbor, pixels.data(),
            std::size_t{width} * 4))) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("gif", 0);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
    ComPtr<IWICBitmapDecoder> decoder;
    const HRESULT hr =
        Vimbrel::CreateGifDecoder("/proc/self/fd/" + std::to_string(file), decoder.Put());
    close(file);
    if (FAILED(hr)) return 0;
    ReadItems(decoder.Get());
    ComPtr<IWICPalette> palette;
    if (SUCCEEDED(Vimbrel::CreatePalette(palette.Put()))) decoder->CopyPalette(palette.Get());
    UINT count = 0;
    decoder->GetFrameCount(&count);
    if (count == 0) std::abort();
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IWICBitmapFrameDecode> frame;
        if (SUCCEEDED(decoder->GetFrame(index, frame.Put()))) ReadFrame(frame.Get());
    }
    return 0;
}

#include "platform/linux/wic/gif/GifFrame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>

#include "platform/linux/wic/FrameRenderer.h"
#include "platform/linux/wic/gif/LzwDecoder.h"

namespace Vimbrel {

namespace {

constexpr WICColor opaque_black = 0xFF000000u;
constexpr WICColor opaque_white = 0xFFFFFFFFu;

// Interlaced rows come in four passes.
constexpr struct {
    UINT first;
    UINT step;
} passes[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};

// Decompresses the picture whose header was read just now, in the order of the file.
bool ReadPixels(GifFileType* gif, std::span<std::uint8_t> indices) {
    int literal_bits = 0;
    GifByteType* block = nullptr;
    if (DGifGetCode(gif, &literal_bits, &block) == GIF_ERROR) return false;
    if (literal_bits < 1 || literal_bits > 8) return false;
    const auto decoder = std::make_unique<LzwDecoder>(static_cast<unsigned>(literal_bits), indices);
    // A picture whose data does not end is cut off, even if no pixel is missing.
    while (block) {
        if (!decoder->Take({block + 1, block[0]})) return false;
        if (DGifGetCodeNext(gif, &block) == GIF_ERROR) return false;
    }
    return decoder->Full();
}

// Puts rows that come in passes into their places.
std::unique_ptr<std::uint8_t[]> Deinterlaced(const std::uint8_t* rows, const GifFrameEntry& entry) {
    std::unique_ptr<std::uint8_t[]> ordered(new std::uint8_t[entry.PixelCount()]);
    for (const auto& pass : passes) {
        for (UINT row = pass.first; row < entry.height; row += pass.step, rows += entry.width)
            std::memcpy(ordered.get() + std::size_t{row} * entry.width, rows, entry.width);
    }
    return ordered;
}

}  // namespace

HRESULT GifFrame::Decode(const GifFile& file, const GifFrameEntry& entry,
                         const std::vector<WICColor>& global_palette,
                         IWICBitmapFrameDecode** frame) {
    if (entry.PixelCount() == 0) return WINCODEC_ERR_BADIMAGE;
    GifReader reader(file);
    const HRESULT hr = reader.OpenAt(entry.position);
    if (FAILED(hr)) return hr;
    GifRecordType type = UNDEFINED_RECORD_TYPE;
    if (DGifGetRecordType(reader.Gif(), &type) == GIF_ERROR || type != IMAGE_DESC_RECORD_TYPE)
        return WINCODEC_ERR_BADIMAGE;
    if (DGifGetImageHeader(reader.Gif()) == GIF_ERROR) return WINCODEC_ERR_BADIMAGE;
    const GifImageDesc& image = reader.Gif()->Image;
    // The file may have been written to since it was scanned.
    if (image.Width != entry.width || image.Height != entry.height) return WINCODEC_ERR_BADIMAGE;
    // Not filled: of a frame that is shorter than it claims only what is there takes memory.
    std::unique_ptr<std::uint8_t[]> indices(new std::uint8_t[entry.PixelCount()]);
    if (!ReadPixels(reader.Gif(), {indices.get(), entry.PixelCount()}))
        return WINCODEC_ERR_BADIMAGE;
    if (entry.interlaced) indices = Deinterlaced(indices.get(), entry);
    std::vector<WICColor> palette = image.ColorMap ? ColorsOf(image.ColorMap) : global_palette;
    if (palette.empty()) palette = {opaque_black, opaque_white};
    return CreateCom<GifFrame>(frame, entry, std::move(indices), std::move(palette));
}

GifFrame::GifFrame(const GifFrameEntry& entry, std::unique_ptr<std::uint8_t[]> indices,
                   std::vector<WICColor> palette)
    : entry_(entry), indices_(std::move(indices)), palette_(std::move(palette)) {
    const std::size_t highest =
        *std::max_element(indices_.get(), indices_.get() + entry_.PixelCount());
    if (palette_.size() <= highest) palette_.resize(highest + 1, opaque_black);
    if (entry_.control && entry_.control->transparent &&
        entry_.control->transparent_index < palette_.size())
        palette_[entry_.control->transparent_index] = 0;
}

HRESULT GifFrame::RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                              std::uint8_t* pixels, std::size_t stride) {
    // All colours are opaque or zero, so they are premultiplied as they are; in memory they are
    // blue, green, red, alpha.
    std::array<std::array<std::uint8_t, 4>, 256> colors{};
    for (std::size_t i = 0; i < palette_.size(); ++i) {
        for (std::size_t byte = 0; byte < 4; ++byte)
            colors[i][byte] = static_cast<std::uint8_t>(palette_[i] >> (8 * byte));
    }
    const auto expand = [&](std::uint8_t* target, std::size_t target_stride) {
        const std::uint8_t* index = indices_.get();
        for (UINT y = 0; y < entry_.height; ++y) {
            std::uint8_t* pixel = target + y * target_stride;
            for (UINT x = 0; x < entry_.width; ++x, pixel += 4)
                std::memcpy(pixel, colors[*index++].data(), 4);
        }
    };
    if (width == entry_.width && height == entry_.height) {
        expand(pixels, stride);
        return S_OK;
    }
    const FfmpegPtr<AVFrame> whole = AllocateBgra(entry_.width, entry_.height);
    if (!whole) return E_OUTOFMEMORY;
    expand(whole->data[0], static_cast<std::size_t>(whole->linesize[0]));
    return RenderFrame(*whole, width, height, mode, pixels, stride);
}

HRESULT GifFrame::GetSize(UINT* width, UINT* height) {
    if (!width || !height) return E_INVALIDARG;
    *width = entry_.width;
    *height = entry_.height;
    return S_OK;
}

HRESULT GifFrame::GetPixelFormat(WICPixelFormatGUID* format) {
    if (!format) return E_INVALIDARG;
    *format = GUID_WICPixelFormat8bppIndexed;
    return S_OK;
}

HRESULT GifFrame::CopyPalette(IWICPalette* palette) {
    if (!palette) return E_INVALIDARG;
    return palette->InitializeCustom(palette_.data(), static_cast<UINT>(palette_.size()));
}

HRESULT GifFrame::CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* pixels) {
    WICRect area{};
    const HRESULT hr = CheckCopy(rect, stride, size, pixels, entry_.width, entry_.height, 1, &area);
    if (FAILED(hr)) return hr;
    for (INT y = 0; y < area.Height; ++y) {
        const std::uint8_t* row =
            indices_.get() + static_cast<std::size_t>(area.Y + y) * entry_.width + area.X;
        std::memcpy(pixels + std::size_t{stride} * static_cast<std::size_t>(y), row,
                    static_cast<std::size_t>(area.Width));
    }
    return S_OK;
}

HRESULT GifFrame::GetMetadataQueryReader(IWICMetadataQueryReader** reader) {
    if (!reader) return E_INVALIDARG;
    *reader = nullptr;
    try {
        auto table = std::make_shared<MetadataTable>();
        table->SetNumber("/imgdesc/left", VT_UI2, entry_.left);
        table->SetNumber("/imgdesc/top", VT_UI2, entry_.top);
        table->SetNumber("/imgdesc/width", VT_UI2, entry_.width);
        table->SetNumber("/imgdesc/height", VT_UI2, entry_.height);
        table->SetNumber("/imgdesc/interlaceflag", VT_BOOL, entry_.interlaced);
        if (entry_.control) {
            table->SetNumber("/grctlext/delay", VT_UI2, entry_.control->delay);
            table->SetNumber("/grctlext/disposal", VT_UI1, entry_.control->disposal);
            table->SetNumber("/grctlext/transparencyflag", VT_BOOL, entry_.control->transparent);
            table->SetNumber("/grctlext/transparentcolorindex", VT_UI1,
                             entry_.control->transparent_index);
        }
        return CreateMetadataReader(std::move(table), reader);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace Vimbrel

#include "platform/linux/wic/gif/GifBytes.h"

#include <array>
#include <memory>
#include <new>
#include <utility>

namespace Vimbrel {

namespace {

constexpr int color_resolution = 8;  // bits a channel

constexpr std::uint8_t trailer_mark = ';';

}  // namespace

GifBytes::GifBytes() {
    int error = 0;
    gif_ = EGifOpen(
        this,
        [](GifFileType* gif, const GifByteType* data, int size) {
            auto& self = *static_cast<GifBytes*>(gif->UserData);
            try {
                self.bytes_.insert(self.bytes_.end(), data, data + size);
            } catch (const std::bad_alloc&) {
                self.failed_ = true;
                return 0;
            }
            return size;
        },
        &error);
    if (gif_) EGifSetGifVersion(gif_, true);
}

GifBytes::~GifBytes() {
    int error = 0;
    if (gif_) EGifCloseFile(gif_, &error);
}

HRESULT GifBytes::PutHead(std::uint16_t width, std::uint16_t height) {
    if (!gif_) return E_OUTOFMEMORY;
    return Result(EGifPutScreenDesc(gif_, width, height, color_resolution, 0, nullptr));
}

HRESULT GifBytes::PutApplication(std::span<const std::uint8_t> name,
                                 std::span<const std::uint8_t> blocks) {
    if (!gif_) return E_OUTOFMEMORY;
    if (EGifPutExtensionLeader(gif_, APPLICATION_EXT_FUNC_CODE) != GIF_OK) return E_OUTOFMEMORY;
    if (EGifPutExtensionBlock(gif_, static_cast<int>(name.size()), name.data()) != GIF_OK)
        return E_OUTOFMEMORY;
    for (std::size_t at = 0; at < blocks.size() && blocks[at] != 0;
         at += blocks[at] + std::size_t{1}) {
        if (EGifPutExtensionBlock(gif_, blocks[at], &blocks[at] + 1) != GIF_OK)
            return E_OUTOFMEMORY;
    }
    return Result(EGifPutExtensionTrailer(gif_));
}

HRESULT GifBytes::PutComment(const std::string& text) {
    if (!gif_) return E_OUTOFMEMORY;
    return Result(EGifPutComment(gif_, text.c_str()));
}

HRESULT GifBytes::PutGraphicControl(std::uint16_t delay, std::uint8_t disposal, bool transparent,
                                    std::uint8_t transparent_index) {
    if (!gif_) return E_OUTOFMEMORY;
    const std::array<std::uint8_t, 4> block = {
        static_cast<std::uint8_t>((disposal & 7) << 2 | (transparent ? 1 : 0)),
        static_cast<std::uint8_t>(delay & 0xFF), static_cast<std::uint8_t>(delay >> 8),
        transparent_index};
    return Result(EGifPutExtension(gif_, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(block.size()),
                                   block.data()));
}

HRESULT GifBytes::PutImage(std::uint16_t width, std::uint16_t height,
                           std::span<const WICColor> colors, std::span<std::uint8_t> indices) {
    if (!gif_) return E_OUTOFMEMORY;
    int color_count = 2;
    while (static_cast<std::size_t>(color_count) < colors.size()) color_count *= 2;
    const std::unique_ptr<ColorMapObject, void (*)(ColorMapObject*)> map(
        GifMakeMapObject(color_count, nullptr), GifFreeMapObject);
    if (!map) return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < static_cast<std::size_t>(color_count); ++i) {
        const WICColor color = i < colors.size() ? colors[i] : 0;
        map->Colors[i] = {static_cast<GifByteType>(color >> 16),
                          static_cast<GifByteType>(color >> 8), static_cast<GifByteType>(color)};
    }
    if (EGifPutImageDesc(gif_, 0, 0, width, height, false, map.get()) != GIF_OK)
        return E_OUTOFMEMORY;
    for (std::size_t row = 0; row < height; ++row) {
        if (EGifPutLine(gif_, indices.data() + row * width, width) != GIF_OK) return E_OUTOFMEMORY;
    }
    return Result(GIF_OK);
}

HRESULT GifBytes::PutTrailer() {
    try {
        bytes_.push_back(trailer_mark);
    } catch (const std::bad_alloc&) {
        failed_ = true;
    }
    return Result(GIF_OK);
}

std::vector<std::uint8_t> GifBytes::Take() { return std::exchange(bytes_, {}); }

bool GifBytes::IsBlockSequence(std::span<const std::uint8_t> blocks) {
    std::size_t at = 0;
    while (at < blocks.size() && blocks[at] != 0) at += blocks[at] + std::size_t{1};
    return at + 1 == blocks.size();
}

void GifBytes::SetPlace(std::span<std::uint8_t> image, std::uint16_t left, std::uint16_t top) {
    image[1] = static_cast<std::uint8_t>(left & 0xFF);
    image[2] = static_cast<std::uint8_t>(left >> 8);
    image[3] = static_cast<std::uint8_t>(top & 0xFF);
    image[4] = static_cast<std::uint8_t>(top >> 8);
}

}  // namespace Vimbrel

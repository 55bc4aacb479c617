#include "platform/linux/screen/CastPixels.h"

#include "pixel/PixelOperations.h"

namespace Vimbrel {

namespace {

// Exchanges red and blue on the way; the target's alpha bytes stay.
void CopyRedFirst(const std::uint8_t* from, std::ptrdiff_t from_stride, std::uint8_t* to,
                  std::size_t to_stride, int width, int height) {
    for (int y = 0; y < height; ++y, from += from_stride, to += to_stride) {
        for (int x = 0; x < width; ++x) {
            to[x * 4] = from[x * 4 + 2];
            to[x * 4 + 1] = from[x * 4 + 1];
            to[x * 4 + 2] = from[x * 4];
        }
    }
}

}  // namespace

void CopyCastPixels(const CastPicture& picture, const RECT& area, const PixelBuffer& target, int x,
                    int y) {
    const std::uint8_t* const from =
        picture.pixels + area.top * picture.stride + std::ptrdiff_t{area.left} * 4;
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    if (picture.red_first) {
        CopyRedFirst(from, picture.stride, target.At(x, y), target.Stride(), width, height);
    } else {
        CopyBgrxToBgra(from, static_cast<std::int32_t>(picture.stride), target.At(x, y),
                       static_cast<std::int32_t>(target.Stride()), {width, height});
    }
}

void ReadCastShape(const CastCursor& cursor, XPointerShape& shape) {
    const CastPicture& given = cursor.shape;
    shape.width = given.width;
    shape.height = given.height;
    shape.hot_x = cursor.hot_x;
    shape.hot_y = cursor.hot_y;
    shape.visible = false;
    shape.pixels.resize(static_cast<std::size_t>(given.width) *
                        static_cast<std::size_t>(given.height) * 4);
    std::uint8_t* to = shape.pixels.data();
    for (int y = 0; y < given.height; ++y) {
        const std::uint8_t* from = given.pixels + y * given.stride;
        for (int x = 0; x < given.width; ++x, from += 4, to += 4) {
            const std::uint32_t alpha = from[3];
            shape.visible |= alpha != 0;
            to[0] = Unpremultiply(from[given.red_first ? 2 : 0], alpha);
            to[1] = Unpremultiply(from[1], alpha);
            to[2] = Unpremultiply(from[given.red_first ? 0 : 2], alpha);
            to[3] = static_cast<std::uint8_t>(alpha);
        }
    }
}

}  // namespace Vimbrel

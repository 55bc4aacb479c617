#include "ScreenCapture/PointerInfo.h"

#include <cstdint>
#include <cstring>

namespace Vimbrel {

namespace {

constexpr std::size_t shape_pixel_size = 4;

std::uint32_t Load(const BYTE* pixel) {
    std::uint32_t value = 0;
    std::memcpy(&value, pixel, sizeof value);
    return value;
}

void Store(BYTE* pixel, std::uint32_t value) { std::memcpy(pixel, &value, sizeof value); }

void DrawColor(const PointerInfo& pointer, GdiPlus& gdiplus, BYTE* target, LONG x, LONG y,
               INT width, INT height) {
    const INT shape_width = static_cast<INT>(pointer.shapeInfo.Width);
    const INT shape_height = static_cast<INT>(pointer.shapeInfo.Height);
    if (pointer.size <
        std::size_t{pointer.shapeInfo.Width} * pointer.shapeInfo.Height * shape_pixel_size)
        return;
    constexpr INT format = GdiPlus::pixel_format_32bpp_argb;
    GdiPlus::Image* canvas = nullptr;
    GdiPlus::Image* shape = nullptr;
    GdiPlus::Graphics* graphics = nullptr;
    gdiplus.GdipCreateBitmapFromScan0(width, height, width * 4, format, target, &canvas);
    gdiplus.GdipCreateBitmapFromScan0(shape_width, shape_height, shape_width * 4, format,
                                      pointer.shape.get(), &shape);
    if (canvas) gdiplus.GdipGetImageGraphicsContext(canvas, &graphics);
    if (graphics && shape) gdiplus.GdipDrawImageI(graphics, shape, x, y);
    if (graphics) gdiplus.GdipDeleteGraphics(graphics);
    if (shape) gdiplus.GdipDisposeImage(shape);
    if (canvas) gdiplus.GdipDisposeImage(canvas);
}

std::uint32_t MaskedColor(std::uint32_t shape, std::uint32_t below) {
    return shape > 0xFFFFFF ? (shape ^ below) | 0xFF000000 : shape;
}

std::uint32_t Monochrome(bool and_bit, bool xor_bit, std::uint32_t below) {
    return ((and_bit ? 0xFFFFFFFF : 0xFF000000) & below) ^ (xor_bit ? 0xFFFFFF : 0);
}

}  // namespace

void DrawPointer(const PointerInfo& pointer, GdiPlus& gdiplus, BYTE* target, const RECT& clip,
                 const RECT& frame) {
    const auto& info = pointer.shapeInfo;
    // The position is that of the shape's corner already: the hot spot is not subtracted, by
    // design.
    const LONG x = pointer.frameInfo.PointerPosition.Position.x - clip.left;
    const LONG y = pointer.frameInfo.PointerPosition.Position.y - clip.top;
    const LONG row_length = frame.right - frame.left;
    const LONG rows = frame.bottom - frame.top;
    if (info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR) {
        DrawColor(pointer, gdiplus, target, x, y, row_length, rows);
        return;
    }
    const bool monochrome = info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME;
    if (!monochrome && info.Type != DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR) return;

    const LONG height = static_cast<LONG>(monochrome ? info.Height / 2 : info.Height);
    const RECT place{x, y, x + static_cast<LONG>(info.Width), y + height};
    // Kept: the two rectangles are compared as given, though only one of them has been moved,
    // because moving both would change which pointers are drawn. The second comparison keeps the
    // result inside the memory.
    RECT destination{};
    const RECT memory{0, 0, row_length, rows};
    if (!IntersectRect(&destination, &place, &clip) ||
        !IntersectRect(&destination, &destination, &memory))
        return;
    RECT source = destination;
    OffsetRect(&source, -x, -y);

    const std::size_t pitch = info.Pitch;
    const std::size_t needed = pitch * info.Height;
    const std::size_t row_bytes = monochrome ? (info.Width + 7) / 8 : info.Width * shape_pixel_size;
    if (pointer.size < needed || pitch < row_bytes) return;
    for (LONG row = source.top; row < source.bottom; ++row) {
        BYTE* to = target + (static_cast<std::size_t>(destination.top + row - source.top) *
                                 static_cast<std::size_t>(row_length) +
                             static_cast<std::size_t>(destination.left)) *
                                shape_pixel_size;
        const BYTE* from = pointer.shape.get() + static_cast<std::size_t>(row) * pitch;
        const BYTE* xor_plane = from + static_cast<std::size_t>(height) * pitch;
        for (LONG column = source.left; column < source.right; ++column, to += shape_pixel_size) {
            if (monochrome) {
                const BYTE mask = static_cast<BYTE>(128 >> (column % 8));
                Store(to,
                      Monochrome(from[column / 8] & mask, xor_plane[column / 8] & mask, Load(to)));
            } else {
                Store(to,
                      MaskedColor(Load(from + static_cast<std::size_t>(column) * shape_pixel_size),
                                  Load(to)));
            }
        }
    }
}

}  // namespace Vimbrel

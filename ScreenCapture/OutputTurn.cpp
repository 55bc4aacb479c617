#include "ScreenCapture/OutputTurn.h"

#include <dxgi1_2.h>

#include <algorithm>
#include <cstring>

#include "ScreenCapture/PixelSize.h"
#include "pixel/PixelOperations.h"

namespace Vimbrel {

namespace {

// Source pixel of target pixel (x, y): start + x * across + y * down, in pixels.
struct Walk {
    std::int64_t start;
    std::int64_t across;
    std::int64_t down;
};

}  // namespace

void TurnOutput(const MappedPicture& source, int rotation, const RECT& place,
                const TurnTarget& target) {
    const std::int64_t width = std::int64_t{place.right} - place.left;
    const std::int64_t height = std::int64_t{place.bottom} - place.top;
    const bool upright =
        rotation == DXGI_MODE_ROTATION_IDENTITY || rotation == DXGI_MODE_ROTATION_ROTATE180;
    // The texture of an output that is just being changed may not fit what its description says.
    if (!source.pixels || source.width < (upright ? width : height) ||
        source.height < (upright ? height : width))
        return;

    const std::int64_t first_x = std::max<std::int64_t>(0, -std::int64_t{place.left});
    const std::int64_t first_y = std::max<std::int64_t>(0, -std::int64_t{place.top});
    const std::int64_t end_x = std::min(width, target.row_length - place.left);
    const std::int64_t end_y = std::min(height, target.rows - place.top);
    if (first_x >= end_x) return;

    const std::int64_t pitch = source.pitch;
    Walk walk{};
    switch (rotation) {
        case DXGI_MODE_ROTATION_IDENTITY:
            walk = {0, 1, pitch};
            break;
        case DXGI_MODE_ROTATION_ROTATE90:
            walk = {(width - 1) * pitch, -pitch, 1};
            break;
        case DXGI_MODE_ROTATION_ROTATE180:
            walk = {(height - 1) * pitch + width - 1, -1, -pitch};
            break;
        case DXGI_MODE_ROTATION_ROTATE270:
            walk = {height - 1, pitch, -1};
            break;
        default:
            return;
    }
    const auto target_row = [&](std::int64_t y) {
        return target.pixels +
               ((place.top + y) * target.row_length + place.left + first_x) * pixel_size;
    };
    const bool by_rows = walk.across == 1;
    if (source.opaque && by_rows && first_y < end_y) {
        CopyBgrxAsOpaque(source.pixels + (first_x + first_y * pitch) * pixel_size,
                         static_cast<std::int32_t>(pitch * pixel_size), target_row(first_y),
                         static_cast<std::int32_t>(target.row_length * pixel_size),
                         {static_cast<std::int32_t>(end_x - first_x),
                          static_cast<std::int32_t>(end_y - first_y)});
        return;
    }
    for (std::int64_t y = first_y; y < end_y; ++y) {
        const BYTE* from =
            source.pixels + (walk.start + first_x * walk.across + y * walk.down) * pixel_size;
        BYTE* to = target_row(y);
        if (by_rows) {
            std::memcpy(to, from, static_cast<std::size_t>((end_x - first_x) * pixel_size));
            continue;
        }
        for (std::int64_t x = first_x; x < end_x; ++x) {
            std::memcpy(to, from, pixel_size);
            if (source.opaque) to[3] = 255;
            to += pixel_size;
            from += walk.across * pixel_size;
        }
    }
}

}  // namespace Vimbrel

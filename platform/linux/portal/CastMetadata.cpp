#include "platform/linux/portal/CastMetadata.h"

#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>
#include <windows.h>

#include <algorithm>

namespace Vimbrel {

namespace {

RECT ToRect(const spa_region& region) {
    const auto x = static_cast<LONG>(region.position.x);
    const auto y = static_cast<LONG>(region.position.y);
    return {x, y, x + static_cast<LONG>(region.size.width),
            y + static_cast<LONG>(region.size.height)};
}

}  // namespace

bool IsRedFirst(std::uint32_t format) {
    return format == SPA_VIDEO_FORMAT_RGBx || format == SPA_VIDEO_FORMAT_RGBA;
}

bool ReadCursor(const spa_buffer& buffer, CastCursor& cursor) {
    const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_Cursor);
    if (!meta || meta->size < sizeof(spa_meta_cursor)) return false;
    const auto* const reported = static_cast<const spa_meta_cursor*>(meta->data);
    cursor.visible = spa_meta_cursor_is_valid(reported);
    cursor.x = reported->position.x;
    cursor.y = reported->position.y;
    const std::size_t offset = reported->bitmap_offset;
    if (!cursor.visible || offset < sizeof(spa_meta_cursor) ||
        offset + sizeof(spa_meta_bitmap) > meta->size)
        return true;
    const auto* const bitmap = SPA_PTROFF(reported, offset, const spa_meta_bitmap);
    const std::uint64_t end = offset + bitmap->offset +
                              std::uint64_t{bitmap->size.height} *
                                  static_cast<std::uint64_t>(std::max(bitmap->stride, 0));
    const bool whole = bitmap->size.width > 0 && bitmap->size.width <= largest_cursor &&
                       bitmap->size.height > 0 && bitmap->size.height <= largest_cursor &&
                       bitmap->stride >= static_cast<std::int32_t>(bitmap->size.width * 4) &&
                       end <= meta->size;
    // Without pixels the last shape stays.
    if (bitmap->format == 0 || bitmap->offset < sizeof(spa_meta_bitmap) || !whole) return true;
    cursor.shape = {SPA_PTROFF(bitmap, bitmap->offset, const std::uint8_t), bitmap->stride,
                    static_cast<int>(bitmap->size.width), static_cast<int>(bitmap->size.height),
                    IsRedFirst(bitmap->format)};
    cursor.hot_x = reported->hotspot.x;
    cursor.hot_y = reported->hotspot.y;
    return true;
}

RECT ReadVisibleArea(const spa_buffer& buffer, int width, int height) {
    const RECT whole{0, 0, width, height};
    const auto* crop = FindMeta<spa_meta_region>(buffer, SPA_META_VideoCrop);
    if (!crop || !spa_meta_region_is_valid(crop)) return whole;
    const RECT wanted = ToRect(crop->region);
    RECT visible{};
    return IntersectRect(&visible, &whole, &wanted) ? visible : whole;
}

bool ReadDamage(const spa_buffer& buffer, const RECT& visible,
                std::array<RECT, damage_limit>& damage, std::size_t& count) {
    const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (!meta) return false;
    count = 0;
    const spa_meta_region* region = nullptr;
    spa_meta_for_each(region, meta) {
        if (!spa_meta_region_is_valid(region)) break;
        if (count == damage.size()) return false;
        RECT area = ToRect(region->region);
        if (!IntersectRect(&area, &area, &visible)) continue;
        OffsetRect(&area, -visible.left, -visible.top);
        damage[count++] = area;
    }
    return count > 0;
}

}  // namespace Vimbrel

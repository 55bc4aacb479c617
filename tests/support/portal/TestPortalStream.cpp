#include <spa/param/video/format-utils.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <utility>

#include "tests/support/portal/TestPortal.h"

namespace test_portal {

void OfferFormat(bool update) {
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    const spa_rectangle size = SPA_RECTANGLE(static_cast<std::uint32_t>(portal.width),
                                             static_cast<std::uint32_t>(portal.height));
    const spa_fraction rate = SPA_FRACTION(0, 1);
    const spa_pod* params[] = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_Id(portal.red_first ? SPA_VIDEO_FORMAT_RGBx : SPA_VIDEO_FORMAT_BGRx),
        SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
        SPA_POD_Fraction(&rate)))};
    if (update) {
        pw_stream_update_params(portal.stream, params, 1);
    } else {
        pw_stream_connect(
            portal.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
            static_cast<pw_stream_flags>(
                PW_STREAM_FLAG_DRIVER |
                (portal.pooled ? PW_STREAM_FLAG_MAP_BUFFERS : PW_STREAM_FLAG_ALLOC_BUFFERS)),
            params, 1);
    }
}

static void OnParam(void*, std::uint32_t id, const spa_pod* param) {
    if (!param || id != SPA_PARAM_Format) return;
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    std::vector<const spa_pod*> params;
    const auto meta = [&](std::uint32_t type, std::size_t size) {
        params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size)))));
    };
    params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(portal.buffers, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
        SPA_PARAM_BUFFERS_size, SPA_POD_Int(portal.width * portal.height * 4),
        SPA_PARAM_BUFFERS_stride, SPA_POD_Int(portal.width * 4), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int(1 << (portal.pooled ? SPA_DATA_MemPtr : SPA_DATA_MemFd)))));
    meta(SPA_META_Header, sizeof(spa_meta_header));
    meta(SPA_META_VideoCrop, sizeof(spa_meta_region));
    if (portal.has_damage) meta(SPA_META_VideoDamage, sizeof(spa_meta_region) * 4);
    // As large as that of compositors, which a reader must be ready for.
    meta(SPA_META_Cursor, sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + 384 * 384 * 4);
    pw_stream_update_params(portal.stream, params.data(),
                            static_cast<std::uint32_t>(params.size()));
}

static void SetRegion(spa_region& region, const Area& area) {
    region.position = {area.x, area.y};
    region.size = {static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height)};
}

static void FillCursor(spa_meta_cursor& cursor) {
    cursor.id = portal.cursor_id;
    cursor.flags = 0;
    cursor.position = {portal.cursor_x, portal.cursor_y};
    cursor.hotspot = {portal.hot_x, portal.hot_y};
    cursor.bitmap_offset = 0;
    if (portal.shape_side == 0) return;
    const auto side = static_cast<std::uint32_t>(portal.shape_side);
    cursor.bitmap_offset = sizeof(spa_meta_cursor);
    auto* const bitmap = SPA_PTROFF(&cursor, cursor.bitmap_offset, spa_meta_bitmap);
    bitmap->format = SPA_VIDEO_FORMAT_RGBA;
    bitmap->size = {side, side};
    bitmap->stride = static_cast<std::int32_t>(side * 4);
    bitmap->offset = sizeof(spa_meta_bitmap);
    auto* const pixels = SPA_PTROFF(bitmap, bitmap->offset, std::uint32_t);
    for (std::uint32_t i = 0; i < side * side; ++i) pixels[i] = portal.shape_color;
    // Once per change, as compositors do.
    portal.shape_side = 0;
}

static std::int64_t Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The canvas is 0xRRGGBB; the last byte is rubbish, which nobody may show.
static void FillPixels(std::uint32_t* pixels) {
    for (std::size_t i = 0; i < portal.canvas.size(); ++i) {
        const std::uint32_t color = portal.canvas[i];
        pixels[i] =
            (portal.red_first ? (color >> 16 & 0xFF) | (color & 0xFF00) | (color & 0xFF) << 16
                              : color) |
            0x37000000;
    }
}

static bool Send() {
    if (!portal.streaming) return false;
    pw_buffer* const buffer = pw_stream_dequeue_buffer(portal.stream);
    if (!buffer) return false;
    spa_buffer& content = *buffer->buffer;
    spa_data& data = content.datas[0];
    const std::size_t bytes = portal.canvas.size() * 4;
    if (!data.data || data.maxsize < bytes) {
        pw_stream_queue_buffer(portal.stream, buffer);
        return false;
    }
    data.chunk->offset = 0;
    data.chunk->stride = portal.width * 4;
    data.chunk->size = portal.picture ? static_cast<std::uint32_t>(bytes) : 0;
    data.chunk->flags = portal.picture ? 0 : SPA_CHUNK_FLAG_CORRUPTED;
    if (portal.picture) FillPixels(static_cast<std::uint32_t*>(data.data));
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&content, SPA_META_Header, sizeof(spa_meta_header)))) {
        header->flags = 0;
        header->seq = portal.sequence;
        if (portal.sequence) ++portal.sequence;
        header->pts = Now();
    }
    if (auto* crop = static_cast<spa_meta_region*>(
            spa_buffer_find_meta_data(&content, SPA_META_VideoCrop, sizeof(spa_meta_region))))
        SetRegion(crop->region, portal.crop);
    if (spa_meta* const meta = spa_buffer_find_meta(&content, SPA_META_VideoDamage)) {
        std::size_t i = 0;
        spa_meta_region* region = nullptr;
        spa_meta_for_each(region, meta) {
            SetRegion(region->region,
                      i < portal.damage.size() ? portal.damage[i] : Area{0, 0, 0, 0});
            ++i;
        }
    }
    if (auto* cursor = static_cast<spa_meta_cursor*>(
            spa_buffer_find_meta_data(&content, SPA_META_Cursor, sizeof(spa_meta_cursor))))
        FillCursor(*cursor);
    if (portal.runs && portal.picture) {
        // The time in microseconds, 24 bits in each of two pixels.
        auto* const pixels = static_cast<std::uint32_t*>(data.data);
        const auto stamp = static_cast<std::uint64_t>(Now() / 1000);
        pixels[0] = static_cast<std::uint32_t>(stamp & 0xFFFFFF);
        pixels[1] = static_cast<std::uint32_t>(stamp >> 24 & 0xFFFFFF);
    }
    pw_stream_queue_buffer(portal.stream, buffer);
    return true;
}

void TrySends(void*, std::uint64_t) {
    if (portal.first) {
        const bool picture = std::exchange(portal.picture, true);
        portal.first = !Send();
        portal.picture = picture;
        if (portal.first) return;
    }
    if (portal.runs) {
        Send();
        return;
    }
    while (portal.sends > 0 && Send()) {
        if (--portal.sends == 0) Reply("ok");
    }
}

// The buffers' memory is this side's own, as that of compositors.
static void OnAddBuffer(void*, pw_buffer* buffer) {
    spa_data& data = buffer->buffer->datas[0];
    if (portal.pooled) return;
    data.type = SPA_DATA_MemFd;
    data.flags = SPA_DATA_FLAG_READWRITE;
    data.mapoffset = 0;
    data.maxsize = static_cast<std::uint32_t>(portal.canvas.size() * 4);
    data.fd = memfd_create("test-portal", MFD_CLOEXEC);
    const bool sized = ftruncate(static_cast<int>(data.fd), data.maxsize) == 0;
    data.data = mmap(nullptr, data.maxsize, PROT_READ | PROT_WRITE, MAP_SHARED,
                     static_cast<int>(data.fd), 0);
    if (!sized || data.data == MAP_FAILED) std::abort();
}

static void OnRemoveBuffer(void*, pw_buffer* buffer) {
    const spa_data& data = buffer->buffer->datas[0];
    if (portal.pooled) return;
    munmap(data.data, data.maxsize);
    close(static_cast<int>(data.fd));
}

static void OnState(void*, pw_stream_state, pw_stream_state state, const char*) {
    portal.streaming = state == PW_STREAM_STATE_STREAMING;
    portal.first = portal.first || portal.streaming;
    if (state == PW_STREAM_STATE_PAUSED) AnswerStart();
}

void MakeStream() {
    static const pw_stream_events events = [] {
        pw_stream_events made{};
        made.version = PW_VERSION_STREAM_EVENTS;
        made.state_changed = OnState;
        made.param_changed = OnParam;
        made.add_buffer = OnAddBuffer;
        made.remove_buffer = OnRemoveBuffer;
        return made;
    }();
    portal.first = true;
    portal.stream = pw_stream_new(portal.core, "test-portal",
                                  pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source",
                                                    PW_KEY_NODE_NAME, "test-portal", nullptr));
    pw_stream_add_listener(portal.stream, &portal.hook, &events, nullptr);
    OfferFormat(false);
}

void DropStream() {
    if (!portal.stream) return;
    spa_hook_remove(&portal.hook);
    pw_stream_destroy(portal.stream);
    portal.stream = nullptr;
    portal.streaming = false;
}

}  // namespace test_portal

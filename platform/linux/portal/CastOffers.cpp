#include "platform/linux/portal/CastOffers.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

namespace Vimbrel {

namespace {

constexpr std::uint32_t largest_side = 16384;

constexpr int CursorBytes(std::uint32_t side) {
    return static_cast<int>(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + side * side * 4);
}

}  // namespace

const spa_pod* OfferFormats(spa_pod_builder& builder) {
    const spa_rectangle smallest = SPA_RECTANGLE(1, 1);
    const spa_rectangle usual = SPA_RECTANGLE(1920, 1080);
    const spa_rectangle largest = SPA_RECTANGLE(largest_side, largest_side);
    const spa_fraction any_rate = SPA_FRACTION(0, 1);
    const spa_fraction usual_rate = SPA_FRACTION(60, 1);
    const spa_fraction highest_rate = SPA_FRACTION(1000, 1);
    // No modifier is offered, so that pictures come in shared memory.
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx,
                               SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &smallest, &largest),
        SPA_FORMAT_VIDEO_framerate,
        SPA_POD_CHOICE_RANGE_Fraction(&usual_rate, &any_rate, &highest_rate)));
}

std::array<const spa_pod*, 5> OfferBuffers(spa_pod_builder& builder) {
    const auto meta = [&](std::uint32_t type, int size) {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(size)));
    };
    constexpr int region = sizeof(spa_meta_region);
    return {
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd)))),
        meta(SPA_META_Header, sizeof(spa_meta_header)), meta(SPA_META_VideoCrop, region),
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_VideoDamage), SPA_PARAM_META_size,
            SPA_POD_CHOICE_RANGE_Int(region * static_cast<int>(damage_limit), region,
                                     region * static_cast<int>(damage_limit)))),
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_Cursor), SPA_PARAM_META_size,
            SPA_POD_CHOICE_RANGE_Int(CursorBytes(64), CursorBytes(1),
                                     CursorBytes(largest_cursor))))};
}

}  // namespace Vimbrel

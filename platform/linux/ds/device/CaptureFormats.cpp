#include "platform/linux/ds/device/CaptureFormats.h"

#include <linux/videodev2.h>
#include <wmcodecdsp.h>

#include <cstring>

namespace Vimbrel {

namespace {

enum class Kind { packed, rgb, planes, compressed };

constexpr GUID FourCc(std::uint32_t code) {
    return {code, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
}

// `bits` are those of a pixel; the first entry of a subtype is the usual one.
struct Entry {
    std::uint32_t pixel_format;
    GUID subtype;
    Kind kind;
    WORD bits;
};

constexpr Entry entries[] = {
    {V4L2_PIX_FMT_BGR24, MEDIASUBTYPE_RGB24, Kind::rgb, 24},
    {V4L2_PIX_FMT_XBGR32, MEDIASUBTYPE_RGB32, Kind::rgb, 32},
    {V4L2_PIX_FMT_BGR32, MEDIASUBTYPE_RGB32, Kind::rgb, 32},
    {V4L2_PIX_FMT_ABGR32, MEDIASUBTYPE_ARGB32, Kind::rgb, 32},
    {V4L2_PIX_FMT_YUYV, MEDIASUBTYPE_YUY2, Kind::packed, 16},
    {V4L2_PIX_FMT_UYVY, MEDIASUBTYPE_UYVY, Kind::packed, 16},
    {V4L2_PIX_FMT_NV12, MEDIASUBTYPE_NV12, Kind::planes, 12},
    {V4L2_PIX_FMT_YUV420, MEDIASUBTYPE_I420, Kind::planes, 12},
    {V4L2_PIX_FMT_YVU420, MEDIASUBTYPE_YV12, Kind::planes, 12},
    {V4L2_PIX_FMT_MJPEG, MEDIASUBTYPE_MJPG, Kind::compressed, 24},
    {V4L2_PIX_FMT_JPEG, MEDIASUBTYPE_MJPG, Kind::compressed, 24},
    {V4L2_PIX_FMT_H264, FourCc(V4L2_PIX_FMT_H264), Kind::compressed, 24},
};

const Entry* Find(std::uint32_t pixel_format) {
    for (const Entry& each : entries) {
        if (each.pixel_format == pixel_format) return &each;
    }
    return nullptr;
}

std::size_t RowBytes(const Entry& entry, std::size_t width) {
    if (entry.kind == Kind::planes) return width;
    // Rows of a bitmap begin at multiples of four bytes.
    if (entry.kind == Kind::rgb) return (width * entry.bits / 8 + 3) / 4 * 4;
    return width * entry.bits / 8;
}

std::size_t ImageBytes(const Entry& entry, std::size_t width, std::size_t height) {
    const std::size_t first = RowBytes(entry, width) * height;
    if (entry.kind == Kind::compressed) return width * height * 3;
    return entry.kind == Kind::planes ? first + 2 * ((width / 2) * (height / 2)) : first;
}

// Rows of the target follow each other at `target_step`, which is below 0 for rows upwards. The
// last row of a picture need not have its padding.
struct Plane {
    std::size_t source_step, row_bytes, rows;
};

std::size_t SourceBytes(const Plane& plane) {
    return plane.rows == 0 ? 0 : plane.source_step * (plane.rows - 1) + plane.row_bytes;
}

void CopyRows(const Plane& plane, const std::uint8_t* source, std::uint8_t* target,
              std::ptrdiff_t target_step) {
    if (target_step == static_cast<std::ptrdiff_t>(plane.source_step) &&
        plane.source_step == plane.row_bytes) {
        std::memcpy(target, source, plane.row_bytes * plane.rows);
        return;
    }
    for (std::size_t row = 0; row < plane.rows; ++row) {
        std::memcpy(target, source, plane.row_bytes);
        source += plane.source_step;
        target += target_step;
    }
}

// The planes of 4:2:0; for the interleaved one the second pair is one plane.
std::size_t CopyPlanes(const Entry& entry, const V4l2Layout& layout, const V4l2Picture& picture,
                       std::uint8_t* target) {
    const auto width = static_cast<std::size_t>(layout.format.width);
    const auto height = static_cast<std::size_t>(layout.format.height);
    const std::size_t step = std::max<std::size_t>(layout.bytes_per_line, width);
    const bool interleaved = entry.pixel_format == V4L2_PIX_FMT_NV12;
    const Plane luma{step, width, height};
    const Plane chroma{interleaved ? step : step / 2, interleaved ? width / 2 * 2 : width / 2,
                       height / 2};
    const int chroma_planes = interleaved ? 1 : 2;
    std::size_t offset = step * height;
    const std::size_t chroma_size = chroma.source_step * chroma.rows;
    if (offset + chroma_size * (chroma_planes - 1u) + SourceBytes(chroma) > picture.size) return 0;
    CopyRows(luma, picture.data, target, static_cast<std::ptrdiff_t>(width));
    std::size_t written = width * height;
    for (int i = 0; i < chroma_planes; ++i) {
        CopyRows(chroma, picture.data + offset, target + written,
                 static_cast<std::ptrdiff_t>(chroma.row_bytes));
        offset += chroma_size;
        written += chroma.row_bytes * chroma.rows;
    }
    return written;
}

bool IsJpegStart(const V4l2Picture& picture) {
    return picture.size > 4 && picture.data[0] == 0xFF && picture.data[1] == 0xD8;
}

}  // namespace

const GUID* SubtypeOf(std::uint32_t pixel_format) {
    const Entry* const entry = Find(pixel_format);
    return entry ? &entry->subtype : nullptr;
}

CMediaType TypeOf(const V4l2Format& format) {
    const Entry& entry = *Find(format.pixel_format);
    const auto size = static_cast<DWORD>(ImageBytes(entry, static_cast<std::size_t>(format.width),
                                                    static_cast<std::size_t>(format.height)));
    VIDEOINFOHEADER info{};
    info.AvgTimePerFrame = format.frame_time;
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = format.width;
    info.bmiHeader.biHeight = format.height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = entry.bits;
    info.bmiHeader.biCompression = entry.kind == Kind::rgb ? 0 : entry.subtype.Data1;
    info.bmiHeader.biSizeImage = size;
    CMediaType type;
    type.majortype = MEDIATYPE_Video;
    type.subtype = entry.subtype;
    type.bFixedSizeSamples = entry.kind != Kind::compressed;
    type.bTemporalCompression = entry.pixel_format == V4L2_PIX_FMT_H264;
    type.lSampleSize = size;
    type.SetFormat(FORMAT_VideoInfo, &info, sizeof info);
    return type;
}

std::optional<std::size_t> CopyPicture(const V4l2Layout& layout, const V4l2Picture& picture,
                                       std::uint8_t* target, std::size_t capacity) {
    const Entry* const entry = Find(layout.format.pixel_format);
    if (!entry || picture.damaged || picture.size == 0) return std::nullopt;
    const auto width = static_cast<std::size_t>(layout.format.width);
    const auto height = static_cast<std::size_t>(layout.format.height);
    if (entry->kind == Kind::compressed) {
        if (picture.size > capacity) return std::nullopt;
        if (entry->subtype == MEDIASUBTYPE_MJPG && !IsJpegStart(picture)) return std::nullopt;
        std::memcpy(target, picture.data, picture.size);
        return picture.size;
    }
    const std::size_t whole = ImageBytes(*entry, width, height);
    if (whole > capacity) return std::nullopt;
    if (entry->kind == Kind::planes) {
        if (CopyPlanes(*entry, layout, picture, target) == 0) return std::nullopt;
        return whole;
    }
    const std::size_t row = width * entry->bits / 8;
    const Plane plane{std::max<std::size_t>(layout.bytes_per_line, row), row, height};
    if (SourceBytes(plane) > picture.size) return std::nullopt;
    const auto step = static_cast<std::ptrdiff_t>(RowBytes(*entry, width));
    if (entry->kind == Kind::rgb) {
        CopyRows(plane, picture.data, target + step * (layout.format.height - 1), -step);
    } else {
        CopyRows(plane, picture.data, target, step);
    }
    return whole;
}

}  // namespace Vimbrel

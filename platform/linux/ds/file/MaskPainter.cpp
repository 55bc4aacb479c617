#include "platform/linux/ds/file/MaskPainter.h"

#include <wmcodecdsp.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Vimbrel {

namespace {

// The header of the picture, whichever of the four formats carries it.
const BITMAPINFOHEADER* HeaderOf(const CMediaType& type) {
    for (const GUID& format : {FORMAT_VideoInfo, FORMAT_MPEGVideo}) {
        if (const auto* const info = type.FormatAs<VIDEOINFOHEADER>(format))
            return &info->bmiHeader;
    }
    for (const GUID& format : {FORMAT_VideoInfo2, FORMAT_MPEG2Video}) {
        if (const auto* const info = type.FormatAs<VIDEOINFOHEADER2>(format))
            return &info->bmiHeader;
    }
    return nullptr;
}

bool IsRgb(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_RGB24 || subtype == MEDIASUBTYPE_RGB32 ||
           subtype == MEDIASUBTYPE_ARGB32;
}

bool IsPacked(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_YUY2 || subtype == MEDIASUBTYPE_UYVY;
}

bool IsPlanar(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_NV12 || subtype == MEDIASUBTYPE_I420 ||
           subtype == MEDIASUBTYPE_YV12;
}

// The cover of a block of pixels, of which those outside the mask count as bare.
int CoverOf(const ColorMask& mask, int left, int top, int columns, int rows) {
    int sum = 0;
    for (int y = std::max(top, 0); y < std::min(top + rows, mask.height); ++y) {
        const std::uint8_t* const row = mask.cover + static_cast<std::ptrdiff_t>(y) * mask.step;
        for (int x = std::max(left, 0); x < std::min(left + columns, mask.width); ++x)
            sum += row[x];
    }
    return sum / (columns * rows);
}

}  // namespace

// BT.601 with limited range.
int MaskPainter::StudioValue(Channel channel, const ColorMask& mask) {
    switch (channel) {
        case Channel::luma:
            return 16 + (66 * mask.red + 129 * mask.green + 25 * mask.blue + 128) / 256;
        case Channel::chroma_blue:
            return (128 * 256 - 38 * mask.red - 74 * mask.green + 112 * mask.blue + 128) / 256;
        default:
            return (128 * 256 + 112 * mask.red - 94 * mask.green - 18 * mask.blue + 128) / 256;
    }
}

// Luma as it is.
int MaskPainter::FlatValue(Channel channel, const ColorMask& mask) {
    const double luma = 0.2126 * mask.red + 0.7152 * mask.green + 0.0722 * mask.blue;
    const double value = channel == Channel::luma          ? luma
                         : channel == Channel::chroma_blue ? 128 + (mask.blue - luma) / 1.816
                                                           : 128 + (mask.red - luma) / 1.540;
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
}

bool MaskPainter::Supports(const CMediaType& type) {
    return type.majortype == MEDIATYPE_Video && HeaderOf(type) &&
           (IsRgb(type.subtype) || IsPacked(type.subtype) || IsPlanar(type.subtype));
}

void MaskPainter::SetType(const CMediaType& type) {
    width_ = height_ = plane_count_ = 0;
    bytes_ = 0;
    constexpr LONG largest = 65'535;
    const BITMAPINFOHEADER* const header = Supports(type) ? HeaderOf(type) : nullptr;
    if (!header || header->biWidth <= 0 || header->biWidth > largest || header->biHeight == 0 ||
        header->biHeight < -largest || header->biHeight > largest)
        return;
    subtype_ = type.subtype;
    width_ = header->biWidth;
    height_ = std::abs(header->biHeight);
    const std::int64_t row_step = header->biSizeImage / static_cast<DWORD>(height_);
    const bool top_down = header->biHeight < 0;
    if (IsRgb(type.subtype)) {
        SetRgb(type, type.subtype == MEDIASUBTYPE_RGB24 ? 3 : 4, top_down, row_step);
    } else if (IsPacked(type.subtype)) {
        SetPacked(type.subtype == MEDIASUBTYPE_YUY2, row_step);
    } else {
        SetPlanar(type.subtype);
    }
}

void MaskPainter::SetRgb(const CMediaType& type, int pixel_step, bool top_down,
                         std::int64_t row_step) {
    if (row_step < static_cast<std::int64_t>(width_) * pixel_step) return;
    bytes_ = row_step * (height_ - 1) + static_cast<std::int64_t>(width_) * pixel_step;
    const std::int64_t first = top_down ? 0 : row_step * (height_ - 1);
    const std::int64_t step = top_down ? row_step : -row_step;
    constexpr Channel channels[] = {Channel::blue, Channel::green, Channel::red, Channel::alpha};
    plane_count_ = type.subtype == MEDIASUBTYPE_ARGB32 ? 4 : 3;
    for (int i = 0; i < plane_count_; ++i)
        planes_[static_cast<std::size_t>(i)] = {channels[i], first + i, pixel_step, step, 0, 0};
}

void MaskPainter::SetPacked(bool luma_first, std::int64_t row_step) {
    const std::int64_t row = static_cast<std::int64_t>(width_ / 2) * 4 + (width_ % 2 != 0 ? 2 : 0);
    if (row_step < row) return;
    bytes_ = row_step * (height_ - 1) + row;
    const int luma = luma_first ? 0 : 1;
    const int chroma = luma_first ? 1 : 0;
    planes_[0] = {Channel::luma, luma, 2, row_step, 0, 0};
    planes_[1] = {Channel::chroma_blue, chroma, 4, row_step, 1, 0};
    planes_[2] = {Channel::chroma_red, chroma + 2, 4, row_step, 1, 0};
    plane_count_ = 3;
}

void MaskPainter::SetPlanar(REFGUID subtype) {
    const std::int64_t luma = static_cast<std::int64_t>(width_) * height_;
    const std::int64_t plane = static_cast<std::int64_t>(width_ / 2) * (height_ / 2);
    planes_[0] = {Channel::luma, 0, 1, width_, 0, 0};
    if (subtype == MEDIASUBTYPE_NV12) {
        planes_[1] = {Channel::chroma_blue, luma, 2, width_, 1, 1};
        planes_[2] = {Channel::chroma_red, luma + 1, 2, width_, 1, 1};
        bytes_ = luma + static_cast<std::int64_t>(width_) * (height_ / 2);
    } else {
        const bool blue_first = subtype == MEDIASUBTYPE_I420;
        planes_[1] = {
            blue_first ? Channel::chroma_blue : Channel::chroma_red, luma, 1, width_ / 2, 1, 1};
        planes_[2] = {blue_first ? Channel::chroma_red : Channel::chroma_blue,
                      luma + plane,
                      1,
                      width_ / 2,
                      1,
                      1};
        bytes_ = luma + 2 * plane;
    }
    plane_count_ = 3;
}

int MaskPainter::ValueOf(Channel channel, const ColorMask& mask) const {
    switch (channel) {
        case Channel::red:
            return mask.red;
        case Channel::green:
            return mask.green;
        case Channel::blue:
            return mask.blue;
        case Channel::alpha:
            return 255;
        default:
            break;
    }
    if (subtype_ == MEDIASUBTYPE_UYVY || subtype_ == MEDIASUBTYPE_I420)
        return FlatValue(channel, mask);
    if (subtype_ != MEDIASUBTYPE_YUY2) return StudioValue(channel, mask);
    // The sink takes the two chroma bytes for each other, and red for blue.
    ColorMask exchanged = mask;
    std::swap(exchanged.red, exchanged.blue);
    if (channel == Channel::chroma_blue) return StudioValue(Channel::chroma_red, exchanged);
    return StudioValue(channel == Channel::luma ? channel : Channel::chroma_blue, exchanged);
}

void MaskPainter::Draw(const ColorMask& mask, std::uint8_t* picture, std::int64_t size) const {
    if (plane_count_ == 0 || size < bytes_) return;
    for (int i = 0; i < plane_count_; ++i)
        DrawPlane(planes_[static_cast<std::size_t>(i)], mask, picture);
}

void MaskPainter::Draw(const ColorPicture& overlay, std::uint8_t* picture,
                       std::int64_t size) const {
    if (plane_count_ == 0 || size < bytes_) return;
    for (int i = 0; i < plane_count_; ++i)
        DrawPlane(planes_[static_cast<std::size_t>(i)], overlay, picture);
}

MaskPainter::Area MaskPainter::Touched(const Plane& plane, int x, int y, int width,
                                       int height) const {
    const int columns = 1 << plane.shift_x;
    const int rows = 1 << plane.shift_y;
    return {std::max(x, 0) >> plane.shift_x, std::max(y, 0) >> plane.shift_y,
            std::min((x + width + columns - 1) >> plane.shift_x, width_ >> plane.shift_x),
            std::min((y + height + rows - 1) >> plane.shift_y, height_ >> plane.shift_y)};
}

void MaskPainter::DrawPlane(const Plane& plane, const ColorMask& mask,
                            std::uint8_t* picture) const {
    const int value = ValueOf(plane.channel, mask);
    const int columns = 1 << plane.shift_x;
    const int rows = 1 << plane.shift_y;
    const Area area = Touched(plane, mask.x, mask.y, mask.width, mask.height);
    for (int y = area.top; y < area.bottom; ++y) {
        std::uint8_t* const row = picture + plane.first + y * plane.row_step;
        for (int x = area.left; x < area.right; ++x) {
            const int cover = CoverOf(mask, (x << plane.shift_x) - mask.x,
                                      (y << plane.shift_y) - mask.y, columns, rows);
            const int weight = cover * mask.opacity;
            if (weight == 0) continue;
            std::uint8_t& sample = row[static_cast<std::ptrdiff_t>(x) * plane.pixel_step];
            constexpr int whole = 255 * 255;
            sample = static_cast<std::uint8_t>(
                (sample * (whole - weight) + value * weight + whole / 2) / whole);
        }
    }
}

void MaskPainter::DrawPlane(const Plane& plane, const ColorPicture& overlay,
                            std::uint8_t* picture) const {
    const int columns = 1 << plane.shift_x;
    const int rows = 1 << plane.shift_y;
    const int whole = 255 * columns * rows;
    const Area area = Touched(plane, overlay.x, overlay.y, overlay.width, overlay.height);
    for (int y = area.top; y < area.bottom; ++y) {
        std::uint8_t* const row = picture + plane.first + y * plane.row_step;
        const int top = (y << plane.shift_y) - overlay.y;
        for (int x = area.left; x < area.right; ++x) {
            const int left = (x << plane.shift_x) - overlay.x;
            int weight = 0;
            int sum = 0;
            // Pixels of the sample outside the overlay count as bare.
            for (int v = std::max(top, 0); v < std::min(top + rows, overlay.height); ++v) {
                for (int u = std::max(left, 0); u < std::min(left + columns, overlay.width); ++u) {
                    const std::uint8_t* const pixel =
                        overlay.pixels + static_cast<std::ptrdiff_t>(v) * overlay.step + u * 4;
                    if (pixel[3] == 0) continue;
                    ColorMask color;
                    color.blue = pixel[0];
                    color.green = pixel[1];
                    color.red = pixel[2];
                    weight += pixel[3];
                    sum += pixel[3] * ValueOf(plane.channel, color);
                }
            }
            if (weight == 0) continue;
            std::uint8_t& sample = row[static_cast<std::ptrdiff_t>(x) * plane.pixel_step];
            sample =
                static_cast<std::uint8_t>((sample * (whole - weight) + sum + whole / 2) / whole);
        }
    }
}

}  // namespace Vimbrel

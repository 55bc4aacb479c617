// Coloured masks and pictures, as of subtitles, drawn into the pictures of every form that the sink
// accepts.
#pragma once

#include <array>
#include <cstdint>

#include "filters/MediaType.h"

namespace Vimbrel {

// One byte of cover per pixel, in one colour.
struct ColorMask {
    const std::uint8_t* cover = nullptr;
    int step = 0;  // bytes from row to row
    int x = 0;     // of the left column and the top row in the picture
    int y = 0;
    int width = 0;
    int height = 0;
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t opacity = 255;
};

// Pixels with colours of their own: blue, green, red and opacity, a byte each.
struct ColorPicture {
    const std::uint8_t* pixels = nullptr;
    int step = 0;  // bytes from row to row
    int x = 0;     // of the left column and the top row in the picture
    int y = 0;
    int width = 0;
    int height = 0;
};

// Colours are those that the sink shows, which has one fixed matrix per form, and rows lie as it
// reads them: planes have the width as their step.
class MaskPainter {
public:
    static bool Supports(const CMediaType& type);
    // A type that is not supported leaves nothing to draw into.
    void SetType(const CMediaType& type);

    int Width() const { return width_; }
    int Height() const { return height_; }
    // Draws what lies within the picture of `size` bytes, which stays as it is if it is too short.
    void Draw(const ColorMask& mask, std::uint8_t* picture, std::int64_t size) const;
    void Draw(const ColorPicture& overlay, std::uint8_t* picture, std::int64_t size) const;

private:
    enum class Channel { red, green, blue, alpha, luma, chroma_blue, chroma_red };
    // The samples of one channel. The shifts count from pixels to samples.
    struct Plane {
        Channel channel = Channel::red;
        std::int64_t first = 0;
        int pixel_step = 0;
        std::int64_t row_step = 0;
        int shift_x = 0;
        int shift_y = 0;
    };

    // Samples of a plane, the ends excluded.
    struct Area {
        int left = 0;
        int top = 0;
        int right = 0;
        int bottom = 0;
    };

    int ValueOf(Channel channel, const ColorMask& mask) const;
    static int StudioValue(Channel channel, const ColorMask& mask);
    static int FlatValue(Channel channel, const ColorMask& mask);
    void SetRgb(const CMediaType& type, int pixel_step, bool top_down, std::int64_t row_step);
    void SetPacked(bool luma_first, std::int64_t row_step);
    void SetPlanar(REFGUID subtype);
    // What is touched by something in that place, within the picture.
    Area Touched(const Plane& plane, int x, int y, int width, int height) const;
    void DrawPlane(const Plane& plane, const ColorMask& mask, std::uint8_t* picture) const;
    void DrawPlane(const Plane& plane, const ColorPicture& overlay, std::uint8_t* picture) const;

    GUID subtype_{};
    int width_ = 0;
    int height_ = 0;
    std::int64_t bytes_ = 0;
    std::array<Plane, 4> planes_;
    int plane_count_ = 0;
};

}  // namespace Vimbrel

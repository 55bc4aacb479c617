#include "rtmpencoder/frame_fitting.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "pixel/PixelOperations.h"

namespace Vimbrel {
namespace {

constexpr std::uint32_t Even(std::uint32_t value) { return value & ~1U; }

std::uint32_t Rounded(float value) { return static_cast<std::uint32_t>(std::lround(value)); }

// Half of the difference, even and not negative.
std::uint32_t Middle(float outer, float inner) {
    return Even(static_cast<std::uint32_t>(std::max((outer - inner) * 0.5F, 0.0F)));
}

struct Cut {
    std::uint32_t start, length;
};

// The part of a source's length that is shown if the scaled length exceeds the output's.
Cut CutToFit(std::uint32_t source, std::uint32_t output, float scale) {
    if (Rounded(static_cast<float>(source) * scale) <= output) return {0, source};
    const std::uint32_t length =
        Even(std::min(Rounded(static_cast<float>(output) / scale), source));
    auto start = static_cast<std::uint32_t>(static_cast<float>(source - length) * 0.5F);
    if (start % 2 != 0) --start;
    return {start, length};
}

PixelSize SizeOf(std::uint32_t width, std::uint32_t height) {
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

}  // namespace

void frame_fitting::plan(std::uint32_t width, std::uint32_t height, std::uint32_t wanted_width,
                         std::uint32_t wanted_height) {
    release();
    source_width = width;
    source_height = height;
    output_width = wanted_width;
    output_height = wanted_height;
    if (source_width == output_width && source_height == output_height) return;

    source_x = source_y = target_x = target_y = 0;
    source_rect_width = source_width;
    source_rect_height = source_height;
    target_rect_width = output_width;
    target_rect_height = output_height;
    if (source_width == 0 || source_height == 0) return;
    place(static_cast<float>(output_width) / static_cast<float>(source_width),
          static_cast<float>(output_height) / static_cast<float>(source_height));
    prepare();
}

void frame_fitting::place(float scale_x, float scale_y) {
    const auto wide = static_cast<float>(source_width);
    const auto high = static_cast<float>(source_height);
    if (scale_mode == scale_fill) {
        const float scale = std::max(scale_x, scale_y);
        const Cut columns = CutToFit(source_width, output_width, scale);
        const Cut rows = CutToFit(source_height, output_height, scale);
        source_x = columns.start;
        source_rect_width = columns.length;
        source_y = rows.start;
        source_rect_height = rows.length;
        return;
    }
    const float scale = std::min(scale_x, scale_y);
    if (scale_x > scale_y) {
        target_x = Middle(static_cast<float>(output_width), wide * scale);
    } else {
        target_y = Middle(static_cast<float>(output_height), high * scale);
    }
    target_rect_width = Even(std::min(Rounded(wide * scale), output_width));
    target_rect_height = Even(std::min(Rounded(high * scale), output_height));
}

// After a failure of any step, frames go unscaled.
void frame_fitting::prepare() {
    const PixelSize from = SizeOf(source_rect_width, source_rect_height);
    const PixelSize to = SizeOf(target_rect_width, target_rect_height);
    std::int32_t spec_bytes = 0;
    std::int32_t initialization_bytes = 0;
    if (ResizeGetSizes(from, to, resize_linear, 0, &spec_bytes, &initialization_bytes) !=
            pixel_done ||
        spec_bytes == 0)
        return;
    resize_spec.resize(static_cast<std::size_t>(spec_bytes));
    std::int32_t buffer_bytes = 0;
    if (ResizeInit(from, to, resize_spec.data()) != pixel_done) return;
    // Kept: 3 channels for pixels of 4, because the buffer's size on record is that of 3. Alpha is
    // resized with the colours.
    constexpr std::int32_t colors = 3;
    if (ResizeGetBufferSize(resize_spec.data(), to, colors, &buffer_bytes) != pixel_done ||
        buffer_bytes == 0)
        return;
    resize_buffer.resize(static_cast<std::size_t>(buffer_bytes));
    resize_needed = true;
}

void frame_fitting::resize(const std::uint8_t* source, std::uint8_t* output) const {
    const std::size_t source_step = std::size_t{4} * source_width;
    const std::size_t output_step = std::size_t{4} * output_width;
    ResizeBilinearBgra(source + source_y * source_step + std::size_t{4} * source_x,
                       static_cast<std::int32_t>(source_step),
                       output + target_y * output_step + std::size_t{4} * target_x,
                       static_cast<std::int32_t>(output_step), {0, 0},
                       SizeOf(target_rect_width, target_rect_height), resize_border_replicate,
                       resize_spec.data(), resize_buffer.data());
}

void frame_fitting::release() {
    resize_needed = false;
    resize_spec = {};
    resize_buffer = {};
}

}  // namespace Vimbrel

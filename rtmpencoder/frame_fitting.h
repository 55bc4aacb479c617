// Fits a frame of any size into the output: where it is read, where it is written, and the plan of
// the resize.
#pragma once

#include <cstdint>
#include <vector>

namespace Vimbrel {

class frame_fitting {
public:
    enum scale_mode_type : std::uint32_t {
        scale_fit = 0,   // the whole frame, with black bars
        scale_fill = 1,  // the whole output, with the frame cut off
    };

    // For pixels of 4 bytes.
    void plan(std::uint32_t source_width, std::uint32_t source_height, std::uint32_t output_width,
              std::uint32_t output_height);
    // Whether frames have to go through `resize`; if not, they have the output's size, or no resize
    // could be planned.
    bool needs_resize() const { return resize_needed; }
    // Both without gaps between rows, the output as large as planned. Writes the target rectangle
    // only.
    void resize(const std::uint8_t* source, std::uint8_t* output) const;
    void release();

    // The live encoder never changes it: there is no setter.
    std::uint32_t scale_mode = scale_fit;

    // In pixels. Offsets and sizes of the target are even.
    std::uint32_t source_x = 0, source_y = 0;
    std::uint32_t target_x = 0, target_y = 0;
    std::uint32_t source_rect_width = 0, source_rect_height = 0;
    std::uint32_t target_rect_width = 0, target_rect_height = 0;

private:
    void place(float scale_x, float scale_y);
    void prepare();

    std::uint32_t source_width = 0, source_height = 0;
    std::uint32_t output_width = 0, output_height = 0;
    bool resize_needed = false;
    std::vector<std::uint8_t> resize_spec;  // aligned as operator new aligns
    mutable std::vector<std::uint8_t> resize_buffer;
};

}  // namespace Vimbrel

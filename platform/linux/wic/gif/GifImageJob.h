// A frame's picture on its way to a compressed image block.
#pragma once

#include <wincodec.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/wic/palette/PaletteColors.h"

namespace Vimbrel {

// Everything that a frame's bytes depend on, independent of the objects it came from. Prepare may
// run on any thread; the other members are for the owner, before it and after it.
class GifImageJob {
public:
    // Takes pixels and palette of the source: indices as they are, or what it takes to make them
    // later.
    static HRESULT FromSource(IWICBitmapSource* source, std::unique_ptr<GifImageJob>& job);

    std::uint16_t Width() const { return width_; }
    std::uint16_t Height() const { return height_; }

    // Finds the palette, maps the pixels to it and compresses them.
    void Prepare();

    HRESULT Result() const { return result_; }
    // The image block at 0, 0.
    std::vector<std::uint8_t>& Image() { return image_; }

private:
    GifImageJob() = default;
    HRESULT TakePlanned(const struct IndexedPlan& plan);
    HRESULT TakeIndices(IWICBitmapSource* source);
    HRESULT Compress();

    std::uint16_t width_ = 0;
    std::uint16_t height_ = 0;
    std::shared_ptr<PaletteColors> palette_;
    std::vector<std::uint8_t> pbgra_;    // to be mapped; empty if indices_ are given
    std::vector<std::uint8_t> indices_;  // without gaps
    bool diffuse_ = false;
    double alpha_threshold_percent_ = 0.0;
    HRESULT result_ = E_UNEXPECTED;
    std::vector<std::uint8_t> image_;
};

}  // namespace Vimbrel

#include "platform/linux/wic/palette/IndexedRenderer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <vector>

#include "platform/linux/wic/Premultiplied.h"
#include "platform/linux/wic/palette/NearestColor.h"

namespace Vimbrel {

namespace {

std::optional<std::uint8_t> TransparentIndex(std::span<const WICColor> colors) {
    for (std::size_t i = 0; i < colors.size(); ++i) {
        if (colors[i] >> 24 == 0) return static_cast<std::uint8_t>(i);
    }
    return std::nullopt;
}

// The part of a pixel that its alpha decides, before any colour is matched.
class AlphaRule {
public:
    AlphaRule(std::optional<std::uint8_t> transparent, double threshold_percent)
        : transparent_(transparent) {
        if (!transparent) return;
        // The first alpha that is not below the threshold; 1 at least, since a pixel of alpha 0 has
        // no colour.
        lowest_opaque_ =
            static_cast<int>(std::clamp(std::ceil(threshold_percent * 255.0 / 100.0), 1.0, 256.0));
    }

    std::uint8_t Index() const { return *transparent_; }
    bool IsTransparent(int alpha) const { return alpha < lowest_opaque_; }
    void ToColor(const std::uint8_t* pixel, int (&color)[3]) const {
        const bool straight = transparent_ && pixel[3] != 255;
        for (int i = 0; i < 3; ++i)
            color[i] = straight ? UndoPremultiply(pixel[i], pixel[3]) : pixel[i];
    }

private:
    std::optional<std::uint8_t> transparent_;
    int lowest_opaque_ = 0;
};

void MapPlainly(const std::uint8_t* pbgra, UINT width, UINT height, const AlphaRule& alpha,
                NearestColor& nearest, std::uint8_t* indices, std::size_t stride) {
    for (UINT y = 0; y < height; ++y) {
        const std::uint8_t* pixel = pbgra + std::size_t{y} * width * 4;
        std::uint8_t* row = indices + y * stride;
        for (UINT x = 0; x < width; ++x, pixel += 4) {
            if (alpha.IsTransparent(pixel[3])) {
                row[x] = alpha.Index();
                continue;
            }
            int color[3];
            alpha.ToColor(pixel, color);
            row[x] = nearest.Exact(static_cast<unsigned>(color[0]), static_cast<unsigned>(color[1]),
                                   static_cast<unsigned>(color[2]));
        }
    }
}

// Floyd and Steinberg's weights, rows in alternating directions. The sixteenth of each error that
// is not passed on keeps errors that no colour can mend (of colours outside the palette's hull)
// from wandering through the picture.
void MapDiffusing(const std::uint8_t* pbgra, UINT width, UINT height,
                  std::span<const WICColor> colors, const AlphaRule& alpha, NearestColor& nearest,
                  std::uint8_t* indices, std::size_t stride) {
    // Sixteenths of errors for this row and the next, with a pixel of margin on both sides.
    std::vector<std::int16_t> here((std::size_t{width} + 2) * 3);
    std::vector<std::int16_t> below(here.size());
    for (UINT y = 0; y < height; ++y) {
        std::fill(below.begin(), below.end(), std::int16_t{0});
        const bool backward = y % 2 != 0;
        const std::ptrdiff_t step = backward ? -1 : 1;
        std::ptrdiff_t x = backward ? static_cast<std::ptrdiff_t>(width) - 1 : 0;
        const std::uint8_t* line = pbgra + std::size_t{y} * width * 4;
        std::uint8_t* row = indices + y * stride;
        int carried[3] = {0, 0, 0};
        for (UINT i = 0; i < width; ++i, x += step) {
            const std::uint8_t* pixel = line + x * 4;
            if (alpha.IsTransparent(pixel[3])) {
                row[x] = alpha.Index();
                std::fill(std::begin(carried), std::end(carried), 0);
                continue;
            }
            int color[3];
            alpha.ToColor(pixel, color);
            const std::int16_t* error = &here[static_cast<std::size_t>(x + 1) * 3];
            for (int c = 0; c < 3; ++c)
                color[c] = std::clamp(color[c] + ((error[c] + carried[c] * 7 + 8) >> 4), 0, 255);
            const std::uint8_t index = nearest.Approximate(static_cast<unsigned>(color[0]),
                                                           static_cast<unsigned>(color[1]),
                                                           static_cast<unsigned>(color[2]));
            row[x] = index;
            const WICColor taken = colors[index];
            std::int16_t* next = &below[static_cast<std::size_t>(x + 1) * 3];
            for (int c = 0; c < 3; ++c) {
                const int rest = (color[c] - static_cast<int>(taken >> (8 * c) & 0xFF)) * 15 / 16;
                carried[c] = rest;
                next[c - 3 * step] = static_cast<std::int16_t>(next[c - 3 * step] + rest * 3);
                next[c] = static_cast<std::int16_t>(next[c] + rest * 5);
                next[c + 3 * step] = static_cast<std::int16_t>(next[c + 3 * step] + rest);
            }
        }
        std::swap(here, below);
    }
}

}  // namespace

HRESULT MapToPalette(const std::uint8_t* pbgra, UINT width, UINT height,
                     std::span<const WICColor> colors, bool diffuse, double alpha_threshold_percent,
                     std::uint8_t* indices, std::size_t stride) {
    if (colors.empty() || colors.size() > 256) return E_INVALIDARG;
    try {
        NearestColor nearest(colors);
        const AlphaRule alpha(TransparentIndex(colors), alpha_threshold_percent);
        if (diffuse) {
            MapDiffusing(pbgra, width, height, colors, alpha, nearest, indices, stride);
        } else {
            MapPlainly(pbgra, width, height, alpha, nearest, indices, stride);
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT RenderIndexed(BitmapSource& source, UINT width, UINT height, IWICPalette* palette,
                      bool diffuse, double alpha_threshold_percent, std::uint8_t* indices,
                      std::size_t stride) {
    WICColor colors[256];
    UINT count = 0;
    HRESULT hr = palette->GetColors(256, colors, &count);
    if (FAILED(hr)) return hr;
    try {
        std::vector<std::uint8_t> pbgra(std::size_t{width} * height * 4);
        hr = source.RenderPbgra(width, height, WICBitmapInterpolationModeLinear, pbgra.data(),
                                std::size_t{width} * 4);
        if (FAILED(hr)) return hr;
        return MapToPalette(pbgra.data(), width, height, {colors, count}, diffuse,
                            alpha_threshold_percent, indices, stride);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace Vimbrel

// Makes GIF files byte by byte, odd ones included.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace Vimbrel::test {

class GifBuilder {
public:
    using Bytes = std::vector<std::uint8_t>;
    using Palette = std::vector<std::uint32_t>;  // 2^n colours, 0xRRGGBB

    static inline const Palette colors = {
        0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0xFFFF00, 0xFF00FF, 0x00FFFF, 0x808080,
        0x800000, 0x008000, 0x000080, 0x123456, 0x654321, 0xABCDEF, 0xFEDCBA, 0xFFFFFF};

    // Without colours the file has no global palette.
    GifBuilder(unsigned width, unsigned height, const Palette& palette = colors,
               std::uint8_t background = 0, std::uint8_t aspect = 0,
               const char* signature = "GIF89a")
        : bytes(signature, signature + 6) {
        Word(width)
            .Word(height)
            .Raw({static_cast<std::uint8_t>(0x70 | PaletteFlags(palette)), background, aspect})
            .Colors(palette);
    }

    GifBuilder& Control(unsigned delay, unsigned disposal = 0, bool transparent = false,
                        unsigned index = 0) {
        return Extension(
            0xF9, {{static_cast<std::uint8_t>(disposal << 2 | (transparent ? 1 : 0)),
                    static_cast<std::uint8_t>(delay & 0xFF), static_cast<std::uint8_t>(delay >> 8),
                    static_cast<std::uint8_t>(index)}});
    }

    GifBuilder& Extension(std::uint8_t label, const std::vector<Bytes>& blocks) {
        Raw({'!', label});
        for (const Bytes& block : blocks) Raw({static_cast<std::uint8_t>(block.size())}).Raw(block);
        return Raw({0});
    }

    GifBuilder& Application(const std::string& name, const Bytes& block) {
        return Extension(0xFF, {Bytes(name.begin(), name.end()), block});
    }

    // Rows of indices below 16 from top to bottom; written in the order of the file.
    GifBuilder& Image(unsigned left, unsigned top, unsigned width, unsigned height,
                      const Bytes& indices, bool interlaced = false, const Palette& palette = {}) {
        Raw({','}).Word(left).Word(top).Word(width).Word(height);
        Raw({static_cast<std::uint8_t>((interlaced ? 0x40 : 0) | PaletteFlags(palette))})
            .Colors(palette);
        Bytes ordered = indices;
        if (interlaced) {
            ordered.clear();
            const unsigned passes[][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
            for (const auto& [first, step] : passes) {
                for (unsigned row = first; row < height; row += step)
                    ordered.insert(ordered.end(), indices.begin() + row * width,
                                   indices.begin() + (row + 1) * width);
            }
        }
        const Bytes packed = Compress(ordered);
        Raw({code_size});
        for (std::size_t at = 0; at < packed.size(); at += 255) {
            const auto begin = packed.begin() + static_cast<std::ptrdiff_t>(at);
            const std::size_t size = std::min<std::size_t>(255, packed.size() - at);
            Raw({static_cast<std::uint8_t>(size)})
                .Raw(Bytes(begin, begin + static_cast<std::ptrdiff_t>(size)));
        }
        return Raw({0});
    }

    GifBuilder& Trailer() { return Raw({';'}); }

    GifBuilder& Raw(const Bytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }

    Bytes bytes;

private:
    static constexpr unsigned char code_size = 4;

    GifBuilder& Word(unsigned value) {
        return Raw(
            {static_cast<std::uint8_t>(value & 0xFF), static_cast<std::uint8_t>(value >> 8)});
    }

    void Colors(const Palette& palette) {
        for (const std::uint32_t color : palette)
            Raw({static_cast<std::uint8_t>(color >> 16), static_cast<std::uint8_t>(color >> 8),
                 static_cast<std::uint8_t>(color)});
    }

    static unsigned PaletteFlags(const Palette& palette) {
        if (palette.empty()) return 0;
        unsigned bits = 1;
        while ((std::size_t{1} << bits) < palette.size()) ++bits;
        return 0x80 | (bits - 1);
    }

    // Literal codes only, with a clear code before the codes would grow.
    static Bytes Compress(const Bytes& indices) {
        constexpr unsigned clear = 1u << code_size;
        Bytes result;
        unsigned pending = 0;
        unsigned bits = 0;
        const auto put = [&](unsigned code) {
            pending |= code << bits;
            for (bits += code_size + 1; bits >= 8; bits -= 8, pending >>= 8)
                result.push_back(static_cast<std::uint8_t>(pending));
        };
        for (std::size_t i = 0; i < indices.size(); ++i) {
            if (i % (clear - 2) == 0) put(clear);
            put(indices[i]);
        }
        put(clear + 1);
        if (bits > 0) result.push_back(static_cast<std::uint8_t>(pending));
        return result;
    }
};

}  // namespace Vimbrel::test

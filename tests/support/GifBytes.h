// Makes GIF files byte by byte, odd ones included.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vimbrel::test {

struct GifFrameBytes {
    int left = 0;
    int top = 0;
    int width = 1;
    int height = 1;
    std::vector<std::uint8_t> indices = {};  // row by row, each below 128
    std::optional<int> delay = {};           // hundredths; without it the frame has no graphic control extension
    int disposal = 0;
    std::optional<int> transparent = {};
    bool interlaced = false;
};

struct GifBytes {
    int width = 1;
    int height = 1;
    int aspect = 0;
    int background = 0;
    bool global_palette = true;
    std::string application = {};  // 11 characters; empty for no application extension
    int loops = 0;
    std::string comment = {};
    std::vector<GifFrameBytes> frames = {};

    // Colour i of the palette, 0xRRGGBB.
    static std::uint32_t Color(int i) {
        return static_cast<std::uint32_t>(i * 2) << 16 | static_cast<std::uint32_t>(255 - i) << 8 |
               static_cast<std::uint32_t>(i * 37 % 256);
    }

    std::vector<std::uint8_t> Make() const {
        std::vector<std::uint8_t> bytes = {'G', 'I', 'F', '8', '9', 'a'};
        const auto byte = [&](int value) { bytes.push_back(static_cast<std::uint8_t>(value)); };
        const auto word = [&](int value) { byte(value & 255), byte(value >> 8 & 255); };
        const auto palette = [&] {
            for (int i = 0; i < 128; ++i)
                byte(static_cast<int>(Color(i) >> 16)), byte(static_cast<int>(Color(i) >> 8 & 255)), byte(static_cast<int>(Color(i) & 255));
        };
        word(width), word(height), byte(global_palette ? 0xE6 : 0x60), byte(background), byte(aspect);
        if (global_palette) palette();
        if (!application.empty()) {
            byte(0x21), byte(0xFF), byte(11);
            for (const char c : application) byte(c);
            byte(3), byte(1), word(loops), byte(0);
        }
        if (!comment.empty()) {
            byte(0x21), byte(0xFE), byte(static_cast<int>(comment.size()));
            for (const char c : comment) byte(c);
            byte(0);
        }
        for (const GifFrameBytes& frame : frames) {
            if (frame.delay || frame.transparent || frame.disposal) {
                byte(0x21), byte(0xF9), byte(4), byte(frame.disposal << 2 | (frame.transparent ? 1 : 0));
                word(frame.delay.value_or(0)), byte(frame.transparent.value_or(0)), byte(0);
            }
            byte(0x2C), word(frame.left), word(frame.top), word(frame.width), word(frame.height);
            byte((global_palette ? 0 : 0x86) | (frame.interlaced ? 0x40 : 0));
            if (!global_palette) palette();
            AppendRaster(frame, bytes);
        }
        byte(0x3B);
        return bytes;
    }

private:
    // With 7 bits a pixel and a clear code before the table grows, every code is one byte.
    static void AppendRaster(const GifFrameBytes& frame, std::vector<std::uint8_t>& bytes) {
        constexpr std::size_t codes_per_clear = 100;
        std::vector<std::uint8_t> codes;
        std::size_t count = 0;
        const auto row = [&](int y) {
            for (int x = 0; x < frame.width; ++x) {
                if (count++ % codes_per_clear == 0) codes.push_back(0x80);
                codes.push_back(frame.indices[static_cast<std::size_t>(y * frame.width + x)]);
            }
        };
        if (frame.interlaced) {
            for (const auto& [first, step] : {std::array{0, 8}, {4, 8}, {2, 4}, {1, 2}}) {
                for (int y = first; y < frame.height; y += step) row(y);
            }
        } else {
            for (int y = 0; y < frame.height; ++y) row(y);
        }
        codes.push_back(0x81);
        bytes.push_back(7);
        for (std::size_t i = 0; i < codes.size(); i += 255) {
            const std::size_t size = std::min<std::size_t>(255, codes.size() - i);
            bytes.push_back(static_cast<std::uint8_t>(size));
            bytes.insert(bytes.end(), codes.begin() + static_cast<std::ptrdiff_t>(i),
                         codes.begin() + static_cast<std::ptrdiff_t>(i + size));
        }
        bytes.push_back(0);
    }
};

}  // namespace Vimbrel::test

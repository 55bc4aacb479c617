// Pixels out of which other programs make the stills that are decoded.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "tests/platform/linux/wic/StillFiles.h"

namespace Vimbrel::test {

constexpr int still_width = 37;
constexpr int still_height = 29;

// The folder with the sources: raw RGBA that the programs read.
//   any     every pixel another, alpha too
//   solid   the same without alpha
//   grey    grey with alpha
//   few     16 colours, one of them transparent
//   half    16 colours of all opacities; half_indices are the same by palette
//   smooth  a gradient that survives loss, with black and white in it
class StillSources {
public:
    static const StillSources& Get() {
        static const StillSources sources;
        return sources;
    }
    const TempFolder& Folder() const { return folder_; }
    const Bytes& Raw(const std::string& name) const { return raw_.at(name); }

private:
    StillSources() {
        std::uint32_t state = 1;
        const auto random = [&state] {
            return static_cast<int>((state = state * 1664525 + 1013904223) >> 24);
        };
        for (int y = 0; y < still_height; ++y) {
            for (int x = 0; x < still_width; ++x) {
                const int r = random(), g = random(), b = random(), a = random();
                Add("any", {r, g, b, a});
                Add("solid", {r, g, b, 255});
                Add("grey", {r, r, r, a});
                const int few = r / 16;
                Add("few", {few * 16, 255 - few * 9, few * few, few == 3 ? 0 : 255});
                Add("half", {few * 16, 255 - few * 9, few * few, few * 17});
                raw_["half_indices"].push_back(static_cast<std::uint8_t>(few));
                const int up = x * 255 / (still_width - 1);
                const int edge = x < 18 ? 255 : 0;
                Add("smooth", y < 10 ? std::array{edge, edge, edge, 255}
                                     : std::array{up, y * 255 / (still_height - 1), 255 - up, 255});
            }
        }
        Bytes& palette = raw_["half_indices"];  // follows its indices, and has 256 entries
        for (int i = 0; i < 16; ++i) {
            for (const int sample : {i * i, 255 - i * 9, i * 16, i * 17})
                palette.push_back(static_cast<std::uint8_t>(sample));
        }
        palette.resize(palette.size() + 240 * 4);
        for (const auto& [name, pixels] : raw_) folder_.Write(name, pixels);
    }
    void Add(const char* name, const std::array<int, 4>& rgba) {
        for (const int sample : rgba) raw_[name].push_back(static_cast<std::uint8_t>(sample));
    }

    TempFolder folder_;
    std::map<std::string, Bytes> raw_;
};

// The command with IM or FF, which read the source, SIZE and OUT, the file, replaced.
inline std::string Fill(std::string command, const std::string& source, const std::string& file) {
    const std::string size = std::to_string(still_width) + "x" + std::to_string(still_height);
    const auto replace = [&command](const std::string& what, const std::string& with) {
        for (std::size_t at = 0; (at = command.find(what, at)) != std::string::npos;
             at += with.size())
            command.replace(at, what.size(), with);
    };
    replace("IM", std::string("/usr/bin/convert -size ") + size + " -depth 8 rgba:" + source);
    replace("FF", std::string("ffmpeg -v error -y -f rawvideo -pix_fmt rgba -s ") + size + " -i " +
                      source);
    replace("SIZE", size);
    replace("OUT", file);
    return command;
}

}  // namespace Vimbrel::test

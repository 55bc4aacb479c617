// Subtitles that are pictures, as of discs and broadcasts.
#pragma once

#include <deque>
#include <vector>

#include "platform/linux/ds/file/MaskPainter.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Each one replaces the one before. Times are media times in units of 100 nanoseconds.
class SubtitlePictures {
public:
    // Shown from `start` on, or from as much later as it says itself. Places are those of a canvas
    // of that size, which is stretched to the picture; 0 for one of the picture's size.
    // `duration` is that of a subtitle which says nothing of its end; 0 if unknown.
    void Add(const AVSubtitle& subtitle, int canvas_width, int canvas_height, LONGLONG start,
             LONGLONG duration);
    void Clear() { shown_.clear(); }
    // `time` does not go back between two calls of Clear.
    void Draw(LONGLONG time, const MaskPainter& painter, std::uint8_t* picture, std::int64_t size);

    struct Part {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        std::vector<std::uint8_t> pixels;  // blue, green, red, opacity
    };

private:
    struct Shown {
        LONGLONG start = 0;
        LONGLONG end = 0;
        int canvas_width = 0;
        int canvas_height = 0;
        std::vector<Part> parts;
    };

    static void Fit(Shown& shown, int width, int height);
    std::size_t Bytes() const;

    std::deque<Shown> shown_;  // by their start
};

}  // namespace Vimbrel

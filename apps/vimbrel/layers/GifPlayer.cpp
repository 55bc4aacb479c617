#include "layers/GifPlayer.h"

#include <algorithm>
#include <cstring>

namespace studio {

namespace {

constexpr std::uint32_t disposal_background = 2;
constexpr std::uint32_t disposal_previous = 3;

// The part of a frame that lies on the screen; right and bottom are excluded.
struct Area {
    int left, top, right, bottom;
};

Area Clip(const Vimbrel::MediaSourcePicture::Frame& frame, const Raster& screen) {
    const auto width = static_cast<std::int64_t>(frame.width);
    const auto height = static_cast<std::int64_t>(frame.height);
    return {std::clamp(frame.left, 0, screen.width), std::clamp(frame.top, 0, screen.height),
            static_cast<int>(std::clamp<std::int64_t>(frame.left + width, 0, screen.width)),
            static_cast<int>(std::clamp<std::int64_t>(frame.top + height, 0, screen.height))};
}

}  // namespace

GifPlayer::GifPlayer(const Vimbrel::MediaSourcePicture& opened)
    : source(opened),
      screen(static_cast<int>(opened.GetGif()->width), static_cast<int>(opened.GetGif()->height)) {
    Show(0);
    next_change_ms = Frame(0).delay;
}

bool GifPlayer::AdvanceTo(std::int64_t time_ms) {
    const auto& gif = *source.GetGif();
    const int count = source.GetDecodedFrameCount();
    bool changed = false;
    while (time_ms >= next_change_ms) {
        if (current + 1 == count) {
            // A count of n in the file means n repetitions; without one the animation goes on for
            // ever.
            if (count == 1 || (gif.hasLoop && passes > static_cast<std::int64_t>(gif.loopCount)))
                return changed;
            ++passes;
            std::fill(screen.pixels.begin(), screen.pixels.end(), std::uint8_t{0});
            Show(0);
        } else {
            DisposeOf(Frame(current));
            Show(current + 1);
        }
        next_change_ms += Frame(current).delay;
        changed = true;
    }
    return changed;
}

void GifPlayer::Show(int index) {
    const auto& frame = Frame(index);
    if (frame.disposal == disposal_previous) kept = screen;
    Draw(frame);
    current = index;
}

void GifPlayer::DisposeOf(const Vimbrel::MediaSourcePicture::Frame& frame) {
    if (frame.disposal == disposal_previous) {
        screen = kept;
    } else if (frame.disposal == disposal_background) {
        const Area area = Clip(frame, screen);
        for (int y = area.top; y < area.bottom && area.left < area.right; ++y) {
            std::memset(screen.At(area.left, y), 0,
                        static_cast<std::size_t>(area.right - area.left) * 4);
        }
    }
}

void GifPlayer::Draw(const Vimbrel::MediaSourcePicture::Frame& frame) {
    const Area area = Clip(frame, screen);
    for (int y = area.top; y < area.bottom; ++y) {
        const std::uint8_t* from =
            frame.pixels + (static_cast<std::size_t>(y - frame.top) * frame.width +
                            static_cast<std::size_t>(area.left - frame.left)) *
                               4;
        std::uint8_t* to = screen.At(area.left, y);
        for (int x = area.left; x < area.right; ++x, from += 4, to += 4) {
            if (from[3] != 0) std::memcpy(to, from, 4);
        }
    }
}

}  // namespace studio

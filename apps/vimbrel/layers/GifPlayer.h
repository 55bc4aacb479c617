// Plays the raw frames of an animated GIF: rectangles, delays, disposal codes.
#pragma once

#include <cstdint>

#include "scene/Raster.h"
#include "vimbrel/MediaSourcePicture.h"

namespace studio {

// The source is open, holds a GIF with at least one frame, and outlives the player.
class GifPlayer {
public:
    explicit GifPlayer(const Vimbrel::MediaSourcePicture& opened);

    // Brings the picture to that time since the start, which never runs backwards. Returns whether
    // it changed.
    bool AdvanceTo(std::int64_t time_ms);

    // The logical screen.
    const Raster& Picture() const { return screen; }

private:
    const Vimbrel::MediaSourcePicture::Frame& Frame(int index) const {
        return *source.GetFrame(index);
    }
    void Show(int index);
    void DisposeOf(const Vimbrel::MediaSourcePicture::Frame& frame);
    void Draw(const Vimbrel::MediaSourcePicture::Frame& frame);

    const Vimbrel::MediaSourcePicture& source;
    Raster screen;
    Raster kept;      // the screen before a frame that asks for it back
    int current = 0;  // index of the frame shown
    int passes = 1;   // begun so far
    std::int64_t next_change_ms = 0;
};

}  // namespace studio

// What a run and the thread of its preview share.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "scene/Raster.h"
#include "sound/SoundMixer.h"

namespace studio {

struct PreviewState {
    std::string title;
    int width = 0;  // of the pictures
    int height = 0;
    std::vector<Raster> names;  // of the sources of sound, drawn

    std::atomic<bool> ready{false};     // for a picture
    std::atomic<bool> unwanted{false};  // the run has ended
    std::atomic<bool> returned{false};  // RunPreviewWindow
    std::atomic<bool> ended{false};     // the window is gone

    // Never held during a call of the display.
    std::mutex lock;
    Raster picture;
    std::vector<SoundLevel> levels;
    bool fresh = false;  // the picture
    std::deque<char> keys;
};

// Runs the window until it is unwanted or closed. Reports on the terminal why there is none.
void RunPreviewWindow(const std::shared_ptr<PreviewState>& state);

}  // namespace studio

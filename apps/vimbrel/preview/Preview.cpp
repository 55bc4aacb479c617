#include "preview/Preview.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include "preview/PreviewState.h"
#include "scene/Drawing.h"

namespace studio {

namespace {

constexpr int name_width = 110;
constexpr int name_height = 20;
constexpr std::chrono::milliseconds display_patience{500};

std::atomic<bool> thread_left = false;

// Here, since the text library belongs to the run's thread.
Raster DrawName(const std::string& name) {
    Raster drawn(name_width, name_height);
    Clear(drawn, Color{24, 24, 24, 255});
    DrawText(name, "Sans 9", Color{220, 220, 220, 255}, drawn);
    return drawn;
}

}  // namespace

Preview::Preview(const std::string& title, int width, int height,
                 const std::vector<SoundLevel>& sources)
    : state(std::make_shared<PreviewState>()) {
    state->title = title;
    state->width = width;
    state->height = height;
    for (const SoundLevel& source : sources) state->names.push_back(DrawName(source.name));
    // Detached, as nobody may wait for a display that hangs.
    std::thread([shared = state] {
        RunPreviewWindow(shared);
        shared->ready = false;
        shared->returned = true;
        shared->ended = true;
    }).detach();
}

Preview::~Preview() {
    state->unwanted = true;
    const auto end = std::chrono::steady_clock::now() + display_patience;
    while (!state->ended && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (!state->returned) thread_left = true;
}

bool Preview::IsThreadLeft() { return thread_left; }

bool Preview::IsReady() const { return state->ready; }

void Preview::Show(const Raster& picture, const std::vector<SoundLevel>& levels) {
    const std::lock_guard guard(state->lock);
    state->picture = picture;
    state->levels = levels;
    state->fresh = true;
    state->ready = false;
}

char Preview::Pressed() {
    const std::lock_guard guard(state->lock);
    if (state->keys.empty()) return 0;
    const char key = state->keys.front();
    state->keys.pop_front();
    return key;
}

}  // namespace studio

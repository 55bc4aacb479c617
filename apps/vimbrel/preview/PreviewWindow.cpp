#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <X11/Xlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "preview/PreviewState.h"

namespace studio {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int meter_height = 20;
constexpr int bar_left = 116;
constexpr int bar_margin = 6;
constexpr float floor_db = -60;
constexpr float yellow_db = -12;
constexpr float red_db = -3;
constexpr float fall_db_per_second = 20;

// Of the thread whose display may break.
thread_local PreviewState* broken_display_of = nullptr;

// Xlib ends the program when this returns, and the run is to go on. The thread stays here, since
// nothing can return through the library.
int Park(Display*) {
    std::fprintf(stderr, "vimbrel: the preview has ended: the display is gone\n");
    if (broken_display_of) {
        broken_display_of->ready = false;
        broken_display_of->ended = true;
    }
    for (;;) pause();
}

// A request that failed, of which the usual handler would make the program's end.
int Ignore(Display*, XErrorEvent*) { return 0; }

void SetHints() {
    SDL_SetMainReady();
    // The run's signals stay its own.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    // A display whose server goes away quits, and that is not to end the run as a closed window
    // does.
    SDL_SetHint(SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0");
    // No drivers that take the console, and none that complains by itself of what is not there.
    // SDL_VIDEODRIVER overrides this.
    const char* const wayland = std::getenv("WAYLAND_DISPLAY");
    SDL_SetHintWithPriority(SDL_HINT_VIDEODRIVER, wayland && *wayland ? "x11,wayland" : "x11",
                            SDL_HINT_DEFAULT);
    // No graphics driver, whose threads and buffers the encoders would have to share.
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
    // What is recorded is to look as always.
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    XSetIOErrorHandler(Park);
    XSetErrorHandler(Ignore);
}

struct DestroyWindow {
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
};
struct FreeSurface {
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};
using Surface = std::unique_ptr<SDL_Surface, FreeSurface>;

Surface Wrap(Raster& raster) {
    return Surface(SDL_CreateRGBSurfaceWithFormatFrom(raster.pixels.data(), raster.width,
                                                      raster.height, 32, raster.Stride(),
                                                      SDL_PIXELFORMAT_RGB888));
}

class PreviewWindow {
public:
    explicit PreviewWindow(PreviewState& shared) : state(shared), names(shared.names) {}

    bool Open();
    // False once there is nothing to show any more.
    bool HandleEvents();
    void ShowNext();
    Clock::duration Period() const { return period; }

private:
    void Draw(float seconds);
    void DrawMeter(SDL_Surface& target, std::size_t index, int top);
    int MetersHeight() const { return meter_height * static_cast<int>(names.size()); }
    void Press(char key);

    PreviewState& state;
    std::vector<Raster> names;
    std::unique_ptr<SDL_Window, DestroyWindow> window;
    Clock::duration period{};
    Clock::time_point drawn_at;
    Raster picture;
    std::vector<SoundLevel> levels;
    std::vector<float> shown_db;
};

bool PreviewWindow::Open() {
    SDL_Rect room{0, 0, 1024, 768};
    SDL_GetDisplayUsableBounds(0, &room);
    const double scale = std::min(
        {1.0, room.w * 0.75 / state.width, room.h * 0.75 / (state.height + MetersHeight())});
    window.reset(SDL_CreateWindow(
        state.title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
        std::max(1, static_cast<int>(std::lround(state.width * scale))),
        std::max(1, static_cast<int>(std::lround(state.height * scale))) + MetersHeight(),
        SDL_WINDOW_RESIZABLE));
    if (!window) return false;
    SDL_DisplayMode mode{};
    constexpr int usual_rate = 60;
    const bool known = SDL_GetWindowDisplayMode(window.get(), &mode) == 0 && mode.refresh_rate > 0;
    period = Clock::duration(std::chrono::seconds(1)) / (known ? mode.refresh_rate : usual_rate);
    shown_db.assign(names.size(), floor_db);
    return true;
}

void PreviewWindow::Press(char key) {
    const std::lock_guard guard(state.lock);
    state.keys.push_back(key);
}

bool PreviewWindow::HandleEvents() {
    SDL_Event event;
    while (SDL_PollEvent(&event)) {
        if (event.type == SDL_QUIT) return false;
        if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_CLOSE)
            Press('q');
        if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_EXPOSED) Draw(0);
        if (event.type != SDL_KEYDOWN || event.key.repeat != 0) continue;
        if (event.key.keysym.sym == SDLK_q) Press('q');
        if (event.key.keysym.sym == SDLK_m) Press('m');
    }
    return true;
}

void PreviewWindow::ShowNext() {
    {
        const std::lock_guard guard(state.lock);
        state.ready = !state.fresh;
        if (!state.fresh) return;
        state.fresh = false;
        std::swap(picture, state.picture);
        levels = state.levels;
    }
    const Clock::time_point now = Clock::now();
    Draw(std::chrono::duration<float>(now - drawn_at).count());
    drawn_at = now;
}

void PreviewWindow::Draw(float seconds) {
    SDL_Surface* const target = SDL_GetWindowSurface(window.get());
    if (!target || picture.pixels.empty()) return;
    SDL_FillRect(target, nullptr, SDL_MapRGB(target->format, 24, 24, 24));
    const int room = target->h - MetersHeight();
    const double scale = std::min(static_cast<double>(target->w) / picture.width,
                                  static_cast<double>(room) / picture.height);
    SDL_Rect place{0, 0, static_cast<int>(std::lround(picture.width * scale)),
                   static_cast<int>(std::lround(picture.height * scale))};
    place.x = (target->w - place.w) / 2;
    place.y = (room - place.h) / 2;
    const Surface source = Wrap(picture);
    // Another order of colours than the picture's needs the way that converts.
    if (place.w > 0 && place.h > 0 && source &&
        SDL_SoftStretchLinear(source.get(), nullptr, target, &place) != 0)
        SDL_BlitScaled(source.get(), nullptr, target, &place);
    for (std::size_t i = 0; i < names.size() && i < levels.size(); ++i) {
        const float peak = levels[i].peak > 0 ? 20 * std::log10(levels[i].peak) : floor_db;
        shown_db[i] = std::max(peak, shown_db[i] - fall_db_per_second * seconds);
        DrawMeter(*target, i, room + meter_height * static_cast<int>(i));
    }
    SDL_UpdateWindowSurface(window.get());
}

void PreviewWindow::DrawMeter(SDL_Surface& target, std::size_t index, int top) {
    SDL_Rect name{bar_margin, top + 2, 0, 0};
    if (const Surface text = Wrap(names[index]))
        SDL_BlitSurface(text.get(), nullptr, &target, &name);
    const int width = target.w - bar_left - bar_margin;
    const auto bar = [&](float from, float to, Uint8 red, Uint8 green, Uint8 blue) {
        const auto at = [&](float db) {
            const float part = std::clamp(1 - db / floor_db, 0.0F, 1.0F);
            return bar_left + static_cast<int>(part * static_cast<float>(width));
        };
        const SDL_Rect part{at(from), top + 4, at(to) - at(from), meter_height - 8};
        if (part.w > 0) SDL_FillRect(&target, &part, SDL_MapRGB(target.format, red, green, blue));
    };
    if (width <= 0) return;
    if (levels[index].muted) return bar(floor_db, 0, 96, 96, 96);
    const float db = shown_db[index];
    bar(floor_db, 0, 48, 48, 48);
    bar(floor_db, std::min(db, yellow_db), 64, 192, 96);
    bar(yellow_db, std::min(db, red_db), 224, 192, 64);
    bar(red_db, db, 224, 64, 64);
}

}  // namespace

void RunPreviewWindow(const std::shared_ptr<PreviewState>& state) {
    broken_display_of = state.get();
    SetHints();
    SDL_SetThreadPriority(SDL_THREAD_PRIORITY_LOW);
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        std::fprintf(stderr, "vimbrel: no preview: there is no display (%s)\n", SDL_GetError());
    } else {
        PreviewWindow window(*state);
        const bool opened = window.Open();
        if (!opened)
            std::fprintf(stderr, "vimbrel: no preview: no window opens (%s)\n", SDL_GetError());
        while (opened && !state->unwanted && window.HandleEvents()) {
            const auto due = Clock::now() + window.Period();
            window.ShowNext();
            std::this_thread::sleep_until(due);
        }
    }
    SDL_Quit();
    SDL_TLSCleanup();
}

}  // namespace studio

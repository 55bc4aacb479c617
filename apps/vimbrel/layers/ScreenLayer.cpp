#include "layers/ScreenLayer.h"

#include <objbase.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "layers/Desktop.h"

namespace studio {

ScreenLayer::ScreenLayer(const LayerDescription& description, Fit screen_fit, int frames_per_second)
    : place(description.place),
      rect(description.rect),
      opacity(description.opacity),
      fit(screen_fit),
      fps(frames_per_second),
      scaled(rect.width, rect.height),
      shown(rect.width, rect.height) {
    settings.fps = fps;
    source.SetDispatcher(this);
}

ScreenLayer::~ScreenLayer() {
    thread.request_stop();
    if (thread.joinable()) thread.join();
    source.SetDispatcher(nullptr);
}

std::unique_ptr<Layer> ScreenLayer::Open(const LayerDescription& description,
                                         const ScreenDescription& content, int fps,
                                         std::string& error) {
    std::unique_ptr<ScreenLayer> layer(new ScreenLayer(description, content.fit, fps));
    layer->screen = content;
    layer->settings.drawCursor = content.cursor;
    if (!layer->permission.Ask(ScreenPermission::Kind::Desktop, content.cursor, description.place,
                               error))
        return nullptr;
    return layer->TakePart(error) && layer->Start(error) ? std::move(layer) : nullptr;
}

std::unique_ptr<Layer> ScreenLayer::Open(const LayerDescription& description,
                                         const WindowDescription& content, int fps,
                                         std::string& error) {
    std::unique_ptr<ScreenLayer> layer(new ScreenLayer(description, content.fit, fps));
    layer->settings.drawCursor = content.cursor;
    if (content.choose != IsPermissionNeeded()) {
        error =
            description.place +
            (content.choose ? ".window: nobody can be asked to choose here; name the window by "
                              "its \"title\", \"class\" or \"id\""
                            : ": windows cannot be found by name on Wayland; have one chosen by "
                              "\"window\": \"choose\"");
        return nullptr;
    }
    if (content.choose) {
        if (!layer->permission.Ask(ScreenPermission::Kind::Window, content.cursor,
                                   description.place, error))
            return nullptr;
        layer->settings.window = layer->permission.Window();
        return layer->Start(error) ? std::move(layer) : nullptr;
    }
    if (!DesktopArea()) {
        error = description.place + ": " + no_screen;
        return nullptr;
    }
    const auto window = FindWindow(content);
    if (!window) {
        error = description.place +
                ": there is no such window; \"vimbrel windows\" lists those that there are";
        return nullptr;
    }
    layer->settings.window = window->handle;
    return layer->Start(error) ? std::move(layer) : nullptr;
}

bool ScreenLayer::TakePart(std::string& error) {
    const auto whole = DesktopArea();
    const auto region = screen->region ? screen->region : PrimaryArea();
    if (!whole || !region) {
        error = place + ": " + no_screen;
        return false;
    }
    const bool inside = region->x >= whole->x && region->y >= whole->y &&
                        region->x + region->width <= whole->x + whole->width &&
                        region->y + region->height <= whole->y + whole->height;
    if (!inside) {
        error = place + ".region: is not within the screen, which is " + AreaText(*whole);
        return false;
    }
    desktop = *whole;
    settings.rect = {region->x, region->y, region->x + region->width, region->y + region->height};
    return true;
}

bool ScreenLayer::OpenSource(std::string& error) {
    source.Close();
    if (!source.Open(&settings)) {
        error = place + ": is too large to be captured";
        return false;
    }
    return source.Play();
}

bool ScreenLayer::Start(std::string& error) {
    if (!OpenSource(error)) return false;
    thread = std::jthread([this](const std::stop_token& stop) { Run(stop); });
    return true;
}

// The source shows what it was opened on. When the screen changes, or an output is off for a while,
// it has to be opened again.
void ScreenLayer::FollowDesktop() {
    // The user has taken the permission back, and is not asked for it again.
    if (permission.IsEnded()) {
        if (!missing)
            std::fprintf(stderr,
                         "vimbrel: %s: the desktop has ended showing the screen; the last picture "
                         "stays\n",
                         place.c_str());
        missing = true;
        return;
    }
    if (source.GetState() == Vimbrel::MediaSource::State::Playing && !source.IsLost() &&
        DesktopArea() == desktop)
        return;
    std::string error;
    const bool found = TakePart(error) && OpenSource(error);
    if (!found && !missing)
        std::fprintf(stderr, "vimbrel: %s; the last picture stays until it is there\n",
                     error.c_str());
    missing = !found;
}

void ScreenLayer::Run(const std::stop_token& stop) {
    using Clock = std::chrono::steady_clock;
    const auto interval =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / fps));
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    auto due = Clock::now();
    auto looked = due;
    // A window that was closed does not come back; a screen may.
    while (!stop.stop_requested() &&
           (screen || source.GetState() == Vimbrel::MediaSource::State::Playing)) {
        if (screen && due - looked >= std::chrono::seconds(1)) {
            looked = due;
            FollowDesktop();
        }
        if (!missing) source.RequestSample();
        // A still screen has held the request up; frames missed meanwhile are not made good.
        due = std::max(due + interval, Clock::now());
        std::unique_lock guard(lock);
        ending.wait_until(guard, stop, due, [] { return false; });
    }
    CoUninitialize();
}

void ScreenLayer::OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                                 Vimbrel::MediaSource::State to) {
    if (to == Vimbrel::MediaSource::State::Stopped)
        std::fprintf(stderr, "vimbrel: %s: the window was closed\n", place.c_str());
}

void ScreenLayer::OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                                int stride, std::int64_t, std::int64_t) {
    if (!pixels || width <= 0 || height <= 0) return;
    if (captured.width != width || captured.height != height) captured = Raster(width, height);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = captured.At(0, y);
        std::memcpy(row, pixels + static_cast<std::ptrdiff_t>(y) * stride,
                    static_cast<std::size_t>(width) * 4);
        // The source's byte of alpha has no meaning.
        for (int x = 0; x < width; ++x) row[x * 4 + 3] = 255;
    }
    ScaleInto({captured.pixels.data(), width, height, captured.Stride()}, width, height, fit,
              scaled);
    const std::lock_guard guard(lock);
    std::swap(shown, scaled);
    drawn = true;
}

void ScreenLayer::Draw(std::int64_t, Raster& canvas) {
    const std::lock_guard guard(lock);
    if (drawn) DrawOver(shown, rect.x, rect.y, opacity, canvas);
}

}  // namespace studio

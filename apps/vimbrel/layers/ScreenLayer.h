// The screen, a part of it, or one window, as it changes.
#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "layers/Layer.h"
#include "layers/ScreenPermission.h"
#include "vimbrel/MediaSourceScreen.h"

namespace studio {

// A request of the source can last, because it waits for something to change. So a thread of the
// layer's own makes it and keeps the last picture for Draw.
class ScreenLayer final : public Layer, private Vimbrel::MediaSource::Dispatcher {
public:
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const ScreenDescription& content, int fps,
                                       std::string& error);
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const WindowDescription& content, int fps,
                                       std::string& error);
    ~ScreenLayer() override;

    void Draw(std::int64_t time_ms, Raster& canvas) override;

private:
    ScreenLayer(const LayerDescription& description, Fit screen_fit, int frames_per_second);
    bool TakePart(std::string& error);  // of the screen as it is now, into the settings
    bool OpenSource(std::string& error);
    bool Start(std::string& error);
    void FollowDesktop();
    void Run(const std::stop_token& stop);

    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State to) override;
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t, std::int64_t) override;
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

    const std::string place;
    const Rect rect;
    const double opacity;
    const Fit fit;
    const int fps;
    ScreenPermission permission;  // while the layer lives, also when the source is opened anew
    std::optional<ScreenDescription> screen;  // null for a window
    // The members from here to the lock belong to the thread once it runs.
    Vimbrel::MediaSourceScreen::Settings settings;
    Rect desktop;          // when the source was opened
    bool missing = false;  // there is no screen to open at the moment
    Vimbrel::MediaSourceScreen source;
    Raster captured;
    Raster scaled;

    std::mutex lock;
    std::condition_variable_any ending;
    Raster shown;        // guarded by lock
    bool drawn = false;  // guarded by lock; `shown` holds a picture

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

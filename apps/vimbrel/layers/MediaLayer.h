// The pictures of a media file, which plays by itself.
#pragma once

#include <future>
#include <mutex>
#include <thread>

#include "layers/Layer.h"
#include "vimbrel/MediaSourceDS.h"

namespace studio {

// A thread of the layer's own controls the source, because it gets the source's messages.
class MediaLayer final : public Layer, private Vimbrel::MediaSource::Dispatcher {
public:
    // Fails if the file does not open.
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const MediaDescription& content, std::string& error);
    ~MediaLayer() override;

    void Draw(std::int64_t time_ms, Raster& canvas) override;

private:
    MediaLayer(const LayerDescription& description, const MediaDescription& content);
    void Run(const std::stop_token& stop, std::promise<bool>& opened);
    bool OpenSource();

    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State) override {}
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t, std::int64_t) override;
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

    const Rect rect;
    const double opacity;
    const MediaDescription description;
    Vimbrel::MediaSourceDS source;  // of the layer's thread
    Raster scaled;                  // of the streaming thread

    std::mutex lock;
    Raster shown;        // guarded by lock
    bool drawn = false;  // guarded by lock; `shown` holds a picture

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

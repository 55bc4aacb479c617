// The picture of a camera, which may go away and come back.
#pragma once

#include <future>
#include <mutex>
#include <thread>

#include "layers/Layer.h"
#include "vimbrel/MediaSourceCamera.h"

namespace studio {

// A thread of the layer's own opens the camera, because it gets the camera's messages. It looks
// for a camera that is gone once in a second.
class CameraLayer final : public Layer, private Vimbrel::MediaSource::Dispatcher {
public:
    // Fails if there is no such camera, or it does not open.
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const CameraDescription& content, std::string& error);
    ~CameraLayer() override;

    void Draw(std::int64_t time_ms, Raster& canvas) override;

private:
    CameraLayer(const LayerDescription& description, const CameraDescription& content);
    void Run(const std::stop_token& stop, std::promise<std::string>& opened);
    // Empty, or what is wrong.
    std::string OpenCamera();
    void CloseCamera();

    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State) override {}
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t, std::int64_t) override;
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

    const std::string place;
    const Rect rect;
    const double opacity;
    const CameraDescription description;
    std::unique_ptr<Vimbrel::MediaSourceCamera> camera;  // of the layer's thread
    Raster scaled;                                       // of the camera's thread

    std::mutex lock;
    Raster shown;        // guarded by lock
    bool drawn = false;  // guarded by lock; `shown` holds a picture

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

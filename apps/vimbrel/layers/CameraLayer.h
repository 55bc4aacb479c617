// The picture of a camera, which may go away and come back.
#pragma once

#include <future>
#include <thread>

#include "layers/CameraList.h"
#include "layers/SourceLayer.h"
#include "vimbrel/MediaSourceCamera.h"

namespace studio {

// A thread of the layer's own opens the camera, because it gets the camera's messages. It looks
// for a camera that is gone once in a second.
class CameraLayer final : public SourceLayer {
public:
    // Fails if there is no such camera, or it does not open.
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const CameraDescription& content, std::string& error);
    ~CameraLayer() override;

private:
    CameraLayer(const LayerDescription& description, const CameraDescription& content);
    void Run(const std::stop_token& stop, std::promise<std::string>& opened);
    // Empty, or what is wrong.
    std::string OpenCamera();
    void CloseCamera();

    const std::string place;
    const CameraDescription description;
    // Of the layer's thread. The choice is the very device from the first opening on.
    CameraChoice choice;
    std::unique_ptr<Vimbrel::MediaSourceCamera> camera;

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

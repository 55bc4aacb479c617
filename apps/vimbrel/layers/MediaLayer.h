// The pictures of a media file, which plays by itself.
#pragma once

#include <future>
#include <thread>

#include "layers/SourceLayer.h"
#include "vimbrel/MediaSourceDS.h"

namespace studio {

// A thread of the layer's own controls the source, because it gets the source's messages.
class MediaLayer final : public SourceLayer {
public:
    // Fails if the file does not open.
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const MediaDescription& content, std::string& error);
    ~MediaLayer() override;

private:
    MediaLayer(const LayerDescription& description, const MediaDescription& content);
    void Run(const std::stop_token& stop, std::promise<bool>& opened);
    bool OpenSource();

    const MediaDescription description;
    Vimbrel::MediaSourceDS source;  // of the layer's thread

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

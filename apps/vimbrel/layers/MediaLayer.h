// The pictures of a media file, which plays by itself.
#pragma once

#include <future>
#include <string>
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
    // The promise is what is wrong, after the layer's place; empty if it plays.
    void Run(const std::stop_token& stop, std::promise<std::string>& opened);
    std::string OpenSource();
    bool ChooseSound();

    const MediaDescription description;
    Vimbrel::MediaSourceDS source;  // of the layer's thread

    std::jthread thread;  // last, so that it ends first
};

}  // namespace studio

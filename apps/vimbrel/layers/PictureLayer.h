// A still or an animated GIF.
#pragma once

#include <filesystem>
#include <optional>

#include "layers/GifPlayer.h"
#include "layers/Layer.h"
#include "vimbrel/MediaSourcePicture.h"

namespace studio {

class PictureLayer final : public Layer, private Vimbrel::MediaSource::Dispatcher {
public:
    // With `must_be_gif` any other kind of picture is an error; without it a GIF plays as well.
    static std::unique_ptr<Layer> Open(const LayerDescription& description,
                                       const std::filesystem::path& file, Fit fit, bool must_be_gif,
                                       IWICImagingFactory* factory, std::string& error);

    void Draw(std::int64_t time_ms, Raster& canvas) override;

private:
    PictureLayer(const LayerDescription& description, Fit picture_fit);
    bool OpenSource(const std::filesystem::path& file, bool must_be_gif,
                    IWICImagingFactory* factory, std::string& error);

    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State) override {}
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t, std::int64_t) override;
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

    Rect rect;
    double opacity;
    Fit fit;
    Vimbrel::MediaSourcePicture source;
    std::optional<GifPlayer> player;  // of a GIF
    std::int64_t now_ms = 0;
    bool drawn = false;  // raster holds a picture
    Raster raster;       // what is shown, at the size of the rectangle
};

}  // namespace studio

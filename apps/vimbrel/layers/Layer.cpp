#include "layers/Layer.h"

#include "layers/CameraLayer.h"
#include "layers/ColorLayer.h"
#include "layers/MediaLayer.h"
#include "layers/PictureLayer.h"
#include "layers/ScreenLayer.h"
#include "layers/TextLayer.h"

namespace studio {

std::unique_ptr<Layer> OpenLayer(const LayerDescription& description, int fps,
                                 IWICImagingFactory* factory, std::string& error) {
    if (const auto* picture = std::get_if<PictureDescription>(&description.content)) {
        return PictureLayer::Open(description, picture->file, picture->fit, false, factory, error);
    }
    if (const auto* gif = std::get_if<GifDescription>(&description.content)) {
        return PictureLayer::Open(description, gif->file, gif->fit, true, factory, error);
    }
    if (const auto* screen = std::get_if<ScreenDescription>(&description.content))
        return ScreenLayer::Open(description, *screen, fps, error);
    if (const auto* window = std::get_if<WindowDescription>(&description.content))
        return ScreenLayer::Open(description, *window, fps, error);
    if (const auto* media = std::get_if<MediaDescription>(&description.content))
        return MediaLayer::Open(description, *media, error);
    if (const auto* camera = std::get_if<CameraDescription>(&description.content))
        return CameraLayer::Open(description, *camera, error);
    if (const auto* text = std::get_if<TextDescription>(&description.content))
        return std::make_unique<TextLayer>(description, *text);
    return std::make_unique<ColorLayer>(description,
                                        std::get<ColorDescription>(description.content));
}

}  // namespace studio

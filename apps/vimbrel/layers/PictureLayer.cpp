#include "layers/PictureLayer.h"

#include <wincodec.h>

#include <limits>

#include "scene/WideText.h"

namespace studio {

namespace {

// A scene's picture stays for as long as the scene runs.
constexpr long forever_ms = std::numeric_limits<std::int32_t>::max();

bool CheckReadable(const std::filesystem::path& file, std::string& error) {
    std::error_code code;
    const auto status = std::filesystem::status(file, code);
    if (status.type() == std::filesystem::file_type::not_found) {
        error = "there is no such file";
    } else if (status.type() == std::filesystem::file_type::directory) {
        error = "is a folder";
    } else if (code) {
        error = code.message();
    }
    return error.empty();
}

}  // namespace

PictureLayer::PictureLayer(const LayerDescription& description, Fit picture_fit)
    : rect(description.rect),
      opacity(description.opacity),
      fit(picture_fit),
      raster(rect.width, rect.height) {
    source.SetDispatcher(this);
}

std::unique_ptr<Layer> PictureLayer::Open(const LayerDescription& description,
                                          const std::filesystem::path& file, Fit fit,
                                          bool must_be_gif, IWICImagingFactory* factory,
                                          std::string& error) {
    std::unique_ptr<PictureLayer> layer(new PictureLayer(description, fit));
    std::string what;
    if (layer->OpenSource(file, must_be_gif, factory, what)) return layer;
    error = description.place + ".file: " + file.string() + ": " + what;
    return nullptr;
}

bool PictureLayer::OpenSource(const std::filesystem::path& file, bool must_be_gif,
                              IWICImagingFactory* factory, std::string& error) {
    if (!CheckReadable(file, error)) return false;
    source.SetWicImagingFactory(factory);
    source.SetFileName(Widen(file).c_str());
    // Where the whole picture is shown, the library's own scaling down is the better one; otherwise
    // it comes at natural size.
    const bool boxed = fit == Fit::Contain;
    if (!source.Open(forever_ms, boxed ? rect.width : -1, boxed ? rect.height : -1)) {
        error =
            "is not a picture that can be read: unknown kind, damaged, or larger than 2^28 pixels";
        return false;
    }
    if (const auto* gif = source.GetGif()) {
        const int missing = source.GetFrameCount() - source.GetDecodedFrameCount();
        if (missing > 0) {
            error = "is damaged: " + std::to_string(missing) + " of its " +
                    std::to_string(source.GetFrameCount()) + " frames cannot be read";
            return false;
        }
        if (source.GetDecodedFrameCount() == 0 || gif->width == 0 || gif->height == 0) {
            error = "is a GIF without a picture";
            return false;
        }
        player.emplace(source);
    } else if (must_be_gif) {
        error = "is not a GIF; use the layer type \"picture\"";
        return false;
    }
    return source.Play();
}

void PictureLayer::Draw(std::int64_t time_ms, Raster& canvas) {
    now_ms = time_ms;
    source.RequestSample();
    if (drawn) DrawOver(raster, rect.x, rect.y, opacity, canvas);
}

void PictureLayer::OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width,
                                 int height, int stride, std::int64_t, std::int64_t) {
    if (player) {
        const bool changed = player->AdvanceTo(now_ms);
        if (drawn && !changed) return;
        const Raster& screen = player->Picture();
        const auto& info = source.GetMediaInfo();
        ScaleInto({screen.pixels.data(), screen.width, screen.height, screen.Stride()}, info.width,
                  info.height, fit, raster);
    } else {
        if (drawn) return;  // a still does not change
        ScaleInto({pixels, width, height, stride}, width, height, fit, raster);
    }
    drawn = true;
}

}  // namespace studio

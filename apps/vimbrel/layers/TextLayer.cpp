#include "layers/TextLayer.h"

#include "scene/WideText.h"

namespace studio {

TextLayer::TextLayer(const LayerDescription& description, const TextDescription& content)
    : rect(description.rect),
      opacity(description.opacity),
      raster(description.rect.width, description.rect.height) {
    source.SetText(Widen(content.text).c_str());
    source.Open();
    source.Play();
    DrawText(content.text, content.font, content.color, raster);
}

void TextLayer::Draw(std::int64_t, Raster& canvas) {
    if (source.GetState() == Vimbrel::MediaSource::State::Playing)
        DrawOver(raster, rect.x, rect.y, opacity, canvas);
}

}  // namespace studio

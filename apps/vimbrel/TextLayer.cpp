#include "TextLayer.h"

#include <filesystem>

namespace studio {

namespace {

// The conversion of file names is the one that the standard library has.
std::wstring Widen(const std::string& text) { return std::filesystem::path(std::u8string(text.begin(), text.end())).wstring(); }

}  // namespace

TextLayer::TextLayer(const LayerDescription& description, const TextDescription& content)
    : rect(description.rect), opacity(description.opacity), raster(description.rect.width, description.rect.height) {
    source.SetText(Widen(content.text).c_str());
    source.Open();
    source.Play();
    DrawText(content.text, content.font, content.color, raster);
}

void TextLayer::Draw(std::int64_t, Raster& canvas) {
    if (source.GetState() == Vimbrel::MediaSource::State::Playing) DrawOver(raster, rect.x, rect.y, opacity, canvas);
}

}  // namespace studio

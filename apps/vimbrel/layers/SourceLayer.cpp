#include "layers/SourceLayer.h"

#include <winuser.h>

#include <utility>

namespace studio {

SourceLayer::SourceLayer(const LayerDescription& description, Fit source_fit)
    : rect(description.rect),
      opacity(description.opacity),
      fit(source_fit),
      scaled(rect.width, rect.height),
      shown(rect.width, rect.height) {}

void SourceLayer::DispatchMessages(DWORD milliseconds) {
    MsgWaitForMultipleObjectsEx(0, nullptr, milliseconds, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

void SourceLayer::OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                                int stride, std::int64_t, std::int64_t) {
    if (!pixels || width <= 0 || height <= 0) return;
    ScaleInto({pixels, width, height, stride}, width, height, fit, scaled);
    const std::lock_guard guard(lock);
    std::swap(shown, scaled);
    drawn = true;
}

void SourceLayer::Draw(std::int64_t, Raster& canvas) {
    const std::lock_guard guard(lock);
    if (drawn) DrawOver(shown, rect.x, rect.y, opacity, canvas);
}

}  // namespace studio

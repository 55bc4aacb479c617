#include "platform/linux/screen/TurnedPicture.h"

#include <cstring>

namespace Vimbrel {

void TurnBack(const PixelBuffer& upright, const XRectangle& area, DXGI_MODE_ROTATION rotation,
              const PixelBuffer& turned) {
    const int last_x = upright.Width() - 1;
    const int last_y = upright.Height() - 1;
    for (int y = area.y; y < area.y + area.height; ++y) {
        const std::uint8_t* from = upright.At(area.x, y);
        for (int x = area.x; x < area.x + area.width; ++x, from += 4) {
            std::uint8_t* to = nullptr;
            switch (rotation) {
                case DXGI_MODE_ROTATION_ROTATE90:
                    to = turned.At(y, last_x - x);
                    break;
                case DXGI_MODE_ROTATION_ROTATE180:
                    to = turned.At(last_x - x, last_y - y);
                    break;
                default:
                    to = turned.At(last_y - y, x);
                    break;
            }
            std::memcpy(to, from, 4);
        }
    }
}

}  // namespace Vimbrel

// What a cast stream reports, on the stream's thread.
#pragma once

#include <windef.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/portal/CastMemory.h"

namespace Vimbrel {

// Pixels of four bytes; the fourth is alpha or nothing.
struct CastPicture {
    const std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;
    bool red_first = false;  // red, green, blue rather than blue, green, red
    // The producer does not get the pixels back, to draw anew, while somebody holds this.
    std::shared_ptr<const CastMemory> memory{};
};

struct CastCursor {
    bool visible = false;
    int x = 0;  // of the hot spot, in the picture
    int y = 0;
    // A new shape, premultiplied; without pixels the last one stays.
    CastPicture shape;
    int hot_x = 0;
    int hot_y = 0;
};

// What one buffer brings.
struct CastFrame {
    // The picture that counts from now on, or null.
    const CastPicture* picture = nullptr;
    // What changed since the last picture, within this one; none stands for everything.
    const RECT* damage = nullptr;
    std::size_t damage_count = 0;
    // Null if nothing is said of it. The shape's pixels are valid during the call.
    const CastCursor* cursor = nullptr;
};

class CastEvents {
public:
    virtual void OnFrame(const CastFrame& frame) = 0;
    // The stream delivers nothing any more.
    virtual void OnLost() = 0;

protected:
    ~CastEvents() = default;
};

}  // namespace Vimbrel

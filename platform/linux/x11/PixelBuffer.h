// A picture of blue, green, red, alpha that the server may write into directly.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/linux/x11/SharedMemory.h"

namespace Vimbrel {

class PixelBuffer {
public:
    // Zeros, shared with the server if that can be. Null if there is not the memory. `connection`
    // may be null.
    static std::shared_ptr<PixelBuffer> Make(const std::shared_ptr<XConnection>& connection,
                                             int width, int height);

    int Width() const { return width_; }
    int Height() const { return height_; }
    std::size_t Stride() const { return static_cast<std::size_t>(width_) * 4; }
    std::uint8_t* At(int x, int y) const {
        return pixels_ + static_cast<std::size_t>(y) * Stride() + static_cast<std::size_t>(x) * 4;
    }
    // Null if it is not shared.
    const SharedMemory* Shared() const { return shared_.get(); }

private:
    PixelBuffer(int width, int height) : width_(width), height_(height) {}

    int width_;
    int height_;
    std::unique_ptr<SharedMemory> shared_;
    std::unique_ptr<std::uint8_t[]> own_;
    std::uint8_t* pixels_ = nullptr;
};

}  // namespace Vimbrel

#include "platform/linux/x11/PixelBuffer.h"

#include <new>

namespace Vimbrel {

std::shared_ptr<PixelBuffer> PixelBuffer::Make(const std::shared_ptr<XConnection>& connection,
                                               int width, int height) try {
    constexpr std::int64_t pixel_limit = std::int64_t{1} << 29;
    if (width <= 0 || height <= 0 || std::int64_t{width} * height > pixel_limit) return nullptr;
    std::shared_ptr<PixelBuffer> buffer(new PixelBuffer(width, height));
    const std::size_t size = buffer->Stride() * static_cast<std::size_t>(height);
    if (connection) buffer->shared_ = SharedMemory::Make(connection, size);
    if (buffer->shared_) {
        buffer->pixels_ = buffer->shared_->Bytes();
    } else {
        buffer->own_.reset(new (std::nothrow) std::uint8_t[size]());
        buffer->pixels_ = buffer->own_.get();
    }
    return buffer->pixels_ ? buffer : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace Vimbrel

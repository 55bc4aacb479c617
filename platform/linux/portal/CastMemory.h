// The memory of one of a stream's buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vimbrel {

// Stays readable after the stream has removed the buffer, until the object is destroyed.
class CastMemory {
public:
    // Of a producer, to be read only. Null if it cannot be mapped. `file` may be closed afterwards.
    static std::shared_ptr<CastMemory> Map(int file, std::size_t offset, std::size_t size);
    // Of this process. Null if there is none.
    static std::shared_ptr<CastMemory> Make(std::size_t size);

    ~CastMemory();
    CastMemory(const CastMemory&) = delete;
    CastMemory& operator=(const CastMemory&) = delete;

    std::uint8_t* Bytes() const { return mapped_ + ahead_; }
    std::size_t Size() const { return length_ - ahead_; }

private:
    CastMemory() = default;

    std::uint8_t* mapped_ = nullptr;
    std::size_t length_ = 0;
    std::size_t ahead_ = 0;  // bytes before the buffer's own, since mappings begin with a page
};

}  // namespace Vimbrel

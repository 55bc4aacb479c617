// Writes the nested boxes of an MP4 file into memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Vimbrel {

class Mp4Boxes {
public:
    // An open box; its length is set on destruction.
    class Scope {
    public:
        Scope(Mp4Boxes& boxes, std::string_view type);
        // A box with a version and flags.
        Scope(Mp4Boxes& boxes, std::string_view type, std::uint8_t version, std::uint32_t flags);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        Mp4Boxes& boxes_;
        std::size_t start_;
    };

    void Put8(std::uint8_t value) { bytes_.push_back(value); }
    void Put16(std::uint16_t value) { Put(value, 2); }
    void Put32(std::uint32_t value) { Put(value, 4); }
    void Put64(std::uint64_t value) { Put(value, 8); }
    // As wide as the version of the box says.
    void PutTime(std::int64_t value, std::uint8_t version) {
        Put(static_cast<std::uint64_t>(value), version == 0 ? 4 : 8);
    }
    void PutText(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
    void PutBytes(std::span<const std::uint8_t> bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    void PutZeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }
    // The unity matrix of headers.
    void PutMatrix();

    // Replaces what was put at a place before.
    void Set32(std::size_t at, std::uint32_t value);

    std::size_t Size() const { return bytes_.size(); }
    const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

private:
    void Put(std::uint64_t value, unsigned size);

    std::vector<std::uint8_t> bytes_;
};

}  // namespace Vimbrel

#include "platform/linux/mp4/Mp4Boxes.h"

namespace Vimbrel {

Mp4Boxes::Scope::Scope(Mp4Boxes& boxes, std::string_view type)
    : boxes_(boxes), start_(boxes.Size()) {
    boxes.Put32(0);
    boxes.PutText(type);
}

Mp4Boxes::Scope::Scope(Mp4Boxes& boxes, std::string_view type, std::uint8_t version,
                       std::uint32_t flags)
    : Scope(boxes, type) {
    boxes.Put32(std::uint32_t{version} << 24 | flags);
}

Mp4Boxes::Scope::~Scope() {
    boxes_.Set32(start_, static_cast<std::uint32_t>(boxes_.Size() - start_));
}

void Mp4Boxes::Put(std::uint64_t value, unsigned size) {
    for (unsigned shift = size * 8; shift > 0;) {
        shift -= 8;
        bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void Mp4Boxes::PutMatrix() {
    constexpr std::uint32_t unity[] = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};
    for (const std::uint32_t value : unity) Put32(value);
}

void Mp4Boxes::Set32(std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes_[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

}  // namespace Vimbrel

#include "outputs/Mp4Length.h"

#include <cstdint>
#include <fstream>
#include <string_view>

namespace studio {

namespace {

std::uint64_t ReadNumber(std::istream& stream, int bytes) {
    std::uint64_t number = 0;
    for (int i = 0; i < bytes; ++i) number = number << 8 | static_cast<std::uint8_t>(stream.get());
    return number;
}

// Goes through the boxes from where the stream stands and stops behind the header of the first one
// of that type.
bool Enter(std::istream& stream, std::string_view type) {
    for (;;) {
        const std::streamoff start = stream.tellg();
        std::uint64_t size = ReadNumber(stream, 4);
        char name[4] = {};
        stream.read(name, sizeof name);
        if (size == 1) size = ReadNumber(stream, 8);
        if (!stream) return false;
        if (std::string_view(name, sizeof name) == type) return true;
        if (size < 8 || size > INT64_MAX) return false;
        stream.seekg(start + static_cast<std::streamoff>(size));
    }
}

}  // namespace

std::optional<double> Mp4Length(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!Enter(stream, "moov") || !Enter(stream, "mvhd")) return std::nullopt;
    const int width = ReadNumber(stream, 4) >> 24 == 1 ? 8 : 4;  // by its version
    ReadNumber(stream, 2 * width);                               // when it was made and changed
    const auto scale = static_cast<double>(ReadNumber(stream, 4));
    const auto length = static_cast<double>(ReadNumber(stream, width));
    if (!stream || scale == 0 || length == 0) return std::nullopt;
    return length / scale;
}

}  // namespace studio

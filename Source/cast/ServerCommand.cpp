#include "Source/cast/ServerCommand.h"

#include <cstddef>
#include <string_view>

namespace Vimbrel {
namespace {

// Commands have an object within an object at most.
constexpr int deepest_nesting = 16;
constexpr std::size_t status_place = 3;

enum Marker : std::uint8_t {
    number = 0,
    boolean = 1,
    string = 2,
    object = 3,
    null = 5,
    undefined = 6,
    array = 8,
    end_of_object = 9,
    strict_array = 10,
    date = 11,
    long_string = 12,
    unsupported = 13,
    xml = 15,
};

class AmfReader {
public:
    explicit AmfReader(ByteSpan body) : rest(body) {}

    bool IsAtEnd() const { return rest.empty() || foreign; }
    // One value. Texts go to `text`, and members that are texts of the outermost object to
    // `command`. False if the value is cut off.
    bool Read(Marker& marker, std::string& text, ServerCommand* command, int depth = 0);

private:
    bool Skip(std::size_t bytes) {
        if (rest.size() < bytes) return false;
        rest = rest.subspan(bytes);
        return true;
    }
    bool ReadLength(int bytes, std::size_t& length) {
        if (rest.size() < static_cast<std::size_t>(bytes)) return false;
        length = 0;
        for (int i = 0; i < bytes; ++i) length = length << 8 | rest[static_cast<std::size_t>(i)];
        return Skip(static_cast<std::size_t>(bytes));
    }
    bool ReadText(int length_bytes, std::string& text) {
        std::size_t length = 0;
        if (!ReadLength(length_bytes, length) || rest.size() < length) return false;
        text.assign(reinterpret_cast<const char*>(rest.data()), length);
        return Skip(length);
    }
    bool ReadMembers(ServerCommand* command, int depth);
    bool ReadElements(int depth);

    ByteSpan rest;
    bool foreign = false;  // the rest is in a form that is not read here
};

bool AmfReader::Read(Marker& marker, std::string& text, ServerCommand* command, int depth) {
    if (rest.empty() || depth > deepest_nesting) return false;
    marker = static_cast<Marker>(rest.front());
    Skip(1);
    switch (marker) {
        case number:
            return Skip(8);
        case boolean:
            return Skip(1);
        case string:
            return ReadText(2, text);
        case long_string:
        case xml:
            return ReadText(4, text);
        case date:
            return Skip(10);
        case null:
        case undefined:
        case unsupported:
            return true;
        case array:
            return Skip(4) && ReadMembers(nullptr, depth + 1);
        case object:
            return ReadMembers(command, depth + 1);
        case strict_array:
            return ReadElements(depth + 1);
        default:
            foreign = true;
            return true;
    }
}

// An object that ends with the message needs no end marker: servers leave it out.
bool AmfReader::ReadMembers(ServerCommand* command, int depth) {
    while (!IsAtEnd()) {
        std::string name;
        if (!ReadText(2, name) || rest.empty()) return false;
        if (name.empty() && rest.front() == end_of_object) return Skip(1);
        Marker marker = null;
        std::string text;
        if (!Read(marker, text, nullptr, depth)) return false;
        if (command == nullptr || marker != string) continue;
        if (name == "level") command->level = text;
        if (name == "description") command->description = text;
    }
    return true;
}

bool AmfReader::ReadElements(int depth) {
    std::size_t count = 0;
    if (!ReadLength(4, count)) return false;
    Marker marker = null;
    std::string text;
    for (; count > 0 && !foreign; --count) {
        if (!Read(marker, text, nullptr, depth)) return false;
    }
    return true;
}

}  // namespace

std::optional<ServerCommand> ServerCommand::Read(ByteSpan body) {
    ServerCommand command;
    AmfReader reader(body);
    for (std::size_t place = 0; !reader.IsAtEnd(); ++place) {
        Marker marker = null;
        std::string text;
        const bool is_status = place == status_place;
        if (!reader.Read(marker, text, is_status ? &command : nullptr)) return std::nullopt;
        if (place == 0 && marker == string) command.name = text;
        if (is_status) command.has_status = marker == object;
    }
    return command;
}

}  // namespace Vimbrel

// One object of a scene document.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace studio {

// Carries the message out of the depth of the document; caught in ReadScene.
struct WrongScene {
    std::string place;
    std::string message;  // with the place in front
};

// Throws WrongScene with the place in front of the message.
[[noreturn]] void FailScene(const std::string& place, const std::string& what);

// An object with its place for messages. A value that is missing or wrong throws WrongScene.
class SceneNode {
public:
    using Json = nlohmann::json;

    SceneNode(const Json& value, std::string place);

    const std::string& Place() const { return place_; }
    std::string PlaceOf(const std::string& name) const;
    bool Has(const std::string& name) const { return value_.contains(name); }
    const Json& At(const std::string& name) const;

    // A misspelt name would otherwise be ignored in silence.
    void AllowOnly(std::initializer_list<std::string_view> names) const;

    std::string Text(const std::string& name) const;
    bool Flag(const std::string& name) const;
    int Integer(const std::string& name, int lowest, int highest) const;
    double Number(const std::string& name, double lowest, double highest) const;
    const Json& List(const std::string& name) const;
    // The file that "file" names, from the folder; absolute.
    std::filesystem::path File(const std::filesystem::path& folder) const;

    static int ToInteger(const Json& value, const std::string& place, int lowest, int highest);

private:
    const Json& value_;
    std::string place_;
};

}  // namespace studio

#include "scene/SceneNode.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace studio {

void FailScene(const std::string& place, const std::string& what) {
    throw WrongScene{place, place.empty() ? what : place + ": " + what};
}

SceneNode::SceneNode(const Json& value, std::string place)
    : value_(value), place_(std::move(place)) {
    if (!value_.is_object()) FailScene(place_, "must be an object, as in {\"name\": value}");
}

std::string SceneNode::PlaceOf(const std::string& name) const {
    return place_.empty() ? name : place_ + "." + name;
}

const SceneNode::Json& SceneNode::At(const std::string& name) const {
    const auto found = value_.find(name);
    if (found == value_.end()) FailScene(PlaceOf(name), "is missing");
    return *found;
}

void SceneNode::AllowOnly(std::initializer_list<std::string_view> names) const {
    for (const auto& item : value_.items()) {
        if (std::find(names.begin(), names.end(), item.key()) == names.end())
            FailScene(PlaceOf(item.key()), "is not a known name");
    }
}

std::string SceneNode::Text(const std::string& name) const {
    const Json& value = At(name);
    if (!value.is_string()) FailScene(PlaceOf(name), "must be a text");
    return value.get<std::string>();
}

bool SceneNode::Flag(const std::string& name) const {
    const Json& value = At(name);
    if (!value.is_boolean()) FailScene(PlaceOf(name), "must be true or false");
    return value.get<bool>();
}

int SceneNode::Integer(const std::string& name, int lowest, int highest) const {
    return ToInteger(At(name), PlaceOf(name), lowest, highest);
}

double SceneNode::Number(const std::string& name, double lowest, double highest) const {
    const Json& value = At(name);
    const double number = value.is_number() ? value.get<double>() : NAN;
    if (!(number >= lowest && number <= highest)) {
        FailScene(PlaceOf(name),
                  "must be a number from " + Json(lowest).dump() + " to " + Json(highest).dump());
    }
    return number;
}

const SceneNode::Json& SceneNode::List(const std::string& name) const {
    const Json& value = At(name);
    if (!value.is_array()) FailScene(PlaceOf(name), "must be a list, as in [ ... ]");
    return value;
}

int SceneNode::ToInteger(const Json& value, const std::string& place, int lowest, int highest) {
    const double number = value.is_number() ? value.get<double>() : NAN;
    if (!(number >= lowest && number <= highest) || number != std::floor(number)) {
        FailScene(place, "must be a whole number from " + std::to_string(lowest) + " to " +
                             std::to_string(highest));
    }
    return static_cast<int>(number);
}

std::filesystem::path SceneNode::File(const std::filesystem::path& folder) const {
    const std::string name = Text("file");
    if (name.empty()) FailScene(PlaceOf("file"), "must not be empty");
    return std::filesystem::absolute(folder /
                                     std::filesystem::path(std::u8string(name.begin(), name.end())))
        .lexically_normal();
}

}  // namespace studio

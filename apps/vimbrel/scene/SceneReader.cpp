#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string_view>

#include "scene/Scene.h"

namespace studio {

namespace {

using Json = nlohmann::json;

constexpr int side_limit = 16384;
constexpr int fps_limit = 120;
constexpr int coordinate_limit = 1 << 20;
constexpr double volume_limit = 400;  // per cent

// Carries the message out of the depth of the document; caught in ReadScene.
struct Wrong {
    std::string message;
};

[[noreturn]] void Fail(const std::string& place, const std::string& what) {
    throw Wrong{place.empty() ? what : place + ": " + what};
}

// One object of the document, with its place for messages.
class Node {
public:
    Node(const Json& value, std::string place) : value_(value), place_(std::move(place)) {
        if (!value_.is_object()) Fail(place_, "must be an object, as in {\"name\": value}");
    }

    const std::string& Place() const { return place_; }
    std::string PlaceOf(const std::string& name) const {
        return place_.empty() ? name : place_ + "." + name;
    }
    bool Has(const std::string& name) const { return value_.contains(name); }

    const Json& At(const std::string& name) const {
        const auto found = value_.find(name);
        if (found == value_.end()) Fail(PlaceOf(name), "is missing");
        return *found;
    }

    // A misspelt name would otherwise be ignored in silence.
    void AllowOnly(std::initializer_list<std::string_view> names) const {
        for (const auto& item : value_.items()) {
            if (std::find(names.begin(), names.end(), item.key()) == names.end())
                Fail(PlaceOf(item.key()), "is not a known name");
        }
    }

    std::string Text(const std::string& name) const {
        const Json& value = At(name);
        if (!value.is_string()) Fail(PlaceOf(name), "must be a text");
        return value.get<std::string>();
    }

    bool Flag(const std::string& name) const {
        const Json& value = At(name);
        if (!value.is_boolean()) Fail(PlaceOf(name), "must be true or false");
        return value.get<bool>();
    }

    int Integer(const std::string& name, int lowest, int highest) const {
        return ToInteger(At(name), PlaceOf(name), lowest, highest);
    }

    double Number(const std::string& name, double lowest, double highest) const {
        const Json& value = At(name);
        const double number = value.is_number() ? value.get<double>() : NAN;
        if (!(number >= lowest && number <= highest)) {
            Fail(PlaceOf(name),
                 "must be a number from " + Json(lowest).dump() + " to " + Json(highest).dump());
        }
        return number;
    }

    const Json& List(const std::string& name) const {
        const Json& value = At(name);
        if (!value.is_array()) Fail(PlaceOf(name), "must be a list, as in [ ... ]");
        return value;
    }

    static int ToInteger(const Json& value, const std::string& place, int lowest, int highest) {
        const double number = value.is_number() ? value.get<double>() : NAN;
        if (!(number >= lowest && number <= highest) || number != std::floor(number)) {
            Fail(place, "must be a whole number from " + std::to_string(lowest) + " to " +
                            std::to_string(highest));
        }
        return static_cast<int>(number);
    }

private:
    const Json& value_;
    std::string place_;
};

Color ReadColor(const Node& node, const std::string& name) {
    const std::string text = node.Text(name);
    const bool hexadecimal = std::all_of(text.begin() + (text.empty() ? 0 : 1), text.end(),
                                         [](unsigned char c) { return std::isxdigit(c); });
    if ((text.size() != 7 && text.size() != 9) || text[0] != '#' || !hexadecimal) {
        Fail(node.PlaceOf(name),
             "must be a colour as \"#rrggbb\" or \"#rrggbbaa\", not \"" + text + "\"");
    }
    const auto channel = [&](std::size_t at) {
        return static_cast<std::uint8_t>(std::stoi(text.substr(at, 2), nullptr, 16));
    };
    return {channel(1), channel(3), channel(5), text.size() == 9 ? channel(7) : std::uint8_t{255}};
}

Rect ReadRect(const Node& node, const std::string& name) {
    const Json& list = node.List(name);
    const std::string place = node.PlaceOf(name);
    if (list.size() != 4) Fail(place, "must hold 4 numbers: x, y, width, height");
    const auto part = [&](std::size_t i, int lowest, int highest) {
        return Node::ToInteger(list[i], place + "[" + std::to_string(i) + "]", lowest, highest);
    };
    return {part(0, -coordinate_limit, coordinate_limit),
            part(1, -coordinate_limit, coordinate_limit), part(2, 1, side_limit),
            part(3, 1, side_limit)};
}

Fit ReadFit(const Node& node) {
    if (!node.Has("fit")) return Fit::Contain;
    const std::string fit = node.Text("fit");
    if (fit == "contain") return Fit::Contain;
    if (fit == "cover") return Fit::Cover;
    if (fit == "stretch") return Fit::Stretch;
    Fail(node.PlaceOf("fit"), "must be \"contain\", \"cover\" or \"stretch\", not \"" + fit + "\"");
}

std::filesystem::path ReadFile(const Node& node, const std::filesystem::path& folder) {
    const std::string name = node.Text("file");
    if (name.empty()) Fail(node.PlaceOf("file"), "must not be empty");
    return std::filesystem::absolute(folder /
                                     std::filesystem::path(std::u8string(name.begin(), name.end())))
        .lexically_normal();
}

// A number, or a text with one as "vimbrel windows" prints it.
std::uint32_t ReadWindowNumber(const Node& node) {
    const Json& value = node.At("id");
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text.c_str(), &end, 0);
    const bool begins_well = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
    if (!begins_well || *end != '\0' || number == 0 || number > UINT32_MAX) {
        Fail(node.PlaceOf("id"), "must be a window's number, as in \"0x1400003\"");
    }
    return static_cast<std::uint32_t>(number);
}

WindowDescription ReadWindow(const Node& node) {
    node.AllowOnly({"type", "title", "class", "id", "cursor", "rect", "fit", "opacity"});
    if (node.Has("title") + node.Has("class") + node.Has("id") != 1)
        Fail(node.Place(), "must have one of \"title\", \"class\" and \"id\"");
    WindowDescription window;
    const auto text = [&](const std::string& name) {
        std::string value = node.Text(name);
        if (value.empty()) Fail(node.PlaceOf(name), "must not be empty");
        return value;
    };
    if (node.Has("title")) window.title = text("title");
    if (node.Has("class")) window.window_class = text("class");
    if (node.Has("id")) window.number = ReadWindowNumber(node);
    if (node.Has("cursor")) window.cursor = node.Flag("cursor");
    window.fit = ReadFit(node);
    return window;
}

LayerDescription ReadLayer(const Node& node, const std::filesystem::path& folder) {
    LayerDescription layer;
    layer.place = node.Place();
    const std::string type = node.Text("type");
    if (type == "picture" || type == "gif") {
        node.AllowOnly({"type", "file", "rect", "fit", "opacity"});
        if (type == "picture") {
            layer.content = PictureDescription{ReadFile(node, folder), ReadFit(node)};
        } else {
            layer.content = GifDescription{ReadFile(node, folder), ReadFit(node)};
        }
    } else if (type == "text") {
        node.AllowOnly({"type", "text", "font", "color", "rect", "opacity"});
        TextDescription text{node.Text("text"), "Sans 24", {255, 255, 255, 255}};
        if (node.Has("font")) text.font = node.Text("font");
        if (node.Has("color")) text.color = ReadColor(node, "color");
        layer.content = text;
    } else if (type == "color") {
        node.AllowOnly({"type", "color", "rect", "opacity"});
        layer.content = ColorDescription{ReadColor(node, "color")};
    } else if (type == "screen") {
        node.AllowOnly({"type", "region", "cursor", "rect", "fit", "opacity"});
        ScreenDescription screen;
        if (node.Has("region")) screen.region = ReadRect(node, "region");
        if (node.Has("cursor")) screen.cursor = node.Flag("cursor");
        screen.fit = ReadFit(node);
        layer.content = screen;
    } else if (type == "window") {
        layer.content = ReadWindow(node);
    } else {
        Fail(node.PlaceOf("type"),
             "unknown layer type \"" + type +
                 "\"; there are picture, gif, text, color, screen and window");
    }
    layer.rect = ReadRect(node, "rect");
    if (node.Has("opacity")) layer.opacity = node.Number("opacity", 0.0, 1.0);
    return layer;
}

// The first line, so that the file may be an editor's. Null with `error` set if there is none.
std::optional<std::string> ReadPassword(const std::filesystem::path& file, std::string& error) {
    std::ifstream stream(file);
    if (!stream) {
        error = file.string() + ": cannot be read: " + std::generic_category().message(errno);
        return std::nullopt;
    }
    std::string line;
    std::getline(stream, line);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) return line;
    error = file.string() + ": has no password to read";
    return std::nullopt;
}

bool IsHostWithPort(std::string_view host) {
    const std::size_t colon = host.find(':');
    if (host.empty() || colon == 0 || host.find('@') != host.npos) return false;
    if (colon == host.npos) return true;
    const std::string port(host.substr(colon + 1));
    const bool digits =
        !port.empty() && port.size() <= 5 &&
        std::all_of(port.begin(), port.end(), [](unsigned char c) { return std::isdigit(c); });
    return digits && std::stoi(port) >= 1 && std::stoi(port) <= 65535;
}

// More narrowly than the protocol's library, which takes other protocols, connects to a default
// port instead of a bad one, and publishes without a key.
bool IsStreamUrl(std::string_view url) {
    const std::size_t blank = url.find(' ');
    std::string_view target = url.substr(0, blank);
    const std::size_t scheme = target.find("://");
    if (scheme == target.npos ||
        (target.substr(0, scheme) != "rtmp" && target.substr(0, scheme) != "rtmps"))
        return false;
    target.remove_prefix(scheme + 3);
    const std::size_t application = target.find('/');
    if (!IsHostWithPort(target.substr(0, application))) return false;
    // The options may name application and key.
    if (blank != url.npos) return url.find('=', blank) != url.npos;
    if (application == target.npos) return false;
    const std::size_t key = target.find('/', application + 1);
    return key != target.npos && key > application + 1 && target.back() != '/';
}

constexpr const char* no_url =
    "this is no URL of a stream; one is rtmp://HOST[:PORT]/APPLICATION/KEY, or rtmps";

StreamDescription ReadStream(const Node& node, const std::filesystem::path& folder) {
    node.AllowOnly({"type", "url", "quality", "user", "password-file", "framing"});
    StreamDescription stream;
    stream.url = node.Text("url");
    if (!IsStreamUrl(stream.url)) Fail(node.PlaceOf("url"), no_url);
    if (node.Has("user")) stream.user = node.Text("user");
    if (node.Has("password-file")) {
        std::string error;
        const auto password = ReadPassword(folder / node.Text("password-file"), error);
        if (!password) Fail(node.PlaceOf("password-file"), error);
        stream.password = *password;
    }
    if (node.Has("framing")) {
        const std::string framing = node.Text("framing");
        if (framing != "standard" && framing != "native") {
            Fail(node.PlaceOf("framing"),
                 "unknown framing \"" + framing + "\"; there are standard and native");
        }
        stream.standard_framing = framing == "standard";
    }
    return stream;
}

OutputDescription ReadOutput(const Node& node, const std::filesystem::path& folder) {
    OutputDescription output;
    output.place = node.Place();
    const std::string type = node.Text("type");
    if (type == "rtmp") {
        output.type = OutputType::Rtmp;
        output.stream = ReadStream(node, folder);
        if (node.Has("quality")) output.quality = node.Integer("quality", 0, 2);
        return output;
    }
    if (type != "gif" && type != "mp4")
        Fail(node.PlaceOf("type"),
             "unknown output type \"" + type + "\"; there are gif, mp4 and rtmp");
    node.AllowOnly({"type", "file", "quality"});
    output.type = type == "gif" ? OutputType::Gif : OutputType::Mp4;
    output.file = ReadFile(node, folder);
    if (node.Has("quality")) output.quality = node.Integer("quality", 0, 2);
    return output;
}

SoundDescription ReadSound(const Node& node, const std::filesystem::path& folder) {
    SoundDescription sound;
    sound.place = node.Place();
    const std::string type = node.Text("type");
    if (type != "file")
        Fail(node.PlaceOf("type"), "unknown type of sound \"" + type + "\"; there is file");
    node.AllowOnly({"type", "file", "volume"});
    sound.file = ReadFile(node, folder);
    if (node.Has("volume")) sound.volume = node.Number("volume", 0, volume_limit) / 100;
    return sound;
}

CanvasDescription ReadCanvas(const Node& node) {
    node.AllowOnly({"width", "height", "fps", "background"});
    CanvasDescription canvas;
    canvas.width = node.Integer("width", 1, side_limit);
    canvas.height = node.Integer("height", 1, side_limit);
    canvas.fps = node.Integer("fps", 1, fps_limit);
    if (node.Has("background")) canvas.background = ReadColor(node, "background");
    return canvas;
}

Scene ReadDocument(const Json& json, const std::filesystem::path& folder) {
    const Node root(json, "");
    root.AllowOnly({"canvas", "layers", "sound", "outputs"});
    Scene scene;
    scene.canvas = ReadCanvas(Node(root.At("canvas"), "canvas"));
    const auto each = [&](const std::string& name, const auto& read) {
        if (!root.Has(name)) return;
        const Json& list = root.List(name);
        for (std::size_t i = 0; i < list.size(); ++i)
            read(Node(list[i], name + "[" + std::to_string(i) + "]"));
    };
    each("layers", [&](const Node& node) { scene.layers.push_back(ReadLayer(node, folder)); });
    each("sound", [&](const Node& node) { scene.sound.push_back(ReadSound(node, folder)); });
    each("outputs", [&](const Node& node) { scene.outputs.push_back(ReadOutput(node, folder)); });
    return scene;
}

}  // namespace

bool ShowsDesktop(const Scene& scene) {
    return std::any_of(scene.layers.begin(), scene.layers.end(), [](const LayerDescription& layer) {
        return std::holds_alternative<ScreenDescription>(layer.content) ||
               std::holds_alternative<WindowDescription>(layer.content);
    });
}

std::optional<Scene> ReadScene(const std::filesystem::path& document, std::string& error) {
    const std::string name = document.string();
    std::error_code code;
    if (std::filesystem::is_directory(document, code)) {
        error = name + ": is a folder, not a scene";
        return std::nullopt;
    }
    std::ifstream file(document, std::ios::binary);
    if (!file) {
        error = name + ": cannot be read: " + std::generic_category().message(errno);
        return std::nullopt;
    }
    try {
        const Json json = Json::parse(file, nullptr, true, true);
        return ReadDocument(json, std::filesystem::absolute(document).parent_path());
    } catch (const Wrong& wrong) {
        error = name + ": " + wrong.message;
    } catch (const Json::exception& exception) {
        // The library's messages begin with its own number in brackets.
        const std::string_view what = exception.what();
        const std::size_t start = what.find("] ");
        error = name + ": " + std::string(start == what.npos ? what : what.substr(start + 2));
    }
    return std::nullopt;
}

std::optional<OutputDescription> OutputFromFileName(const std::string& name, std::string& error) {
    const std::filesystem::path path(std::u8string(name.begin(), name.end()));
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending != ".gif" && ending != ".mp4") {
        error = "--out " + name + ": the ending says what to write, and \"" + ending +
                "\" is none of .gif and .mp4";
        return std::nullopt;
    }
    OutputDescription output;
    output.place = "--out";
    output.type = ending == ".gif" ? OutputType::Gif : OutputType::Mp4;
    output.file = std::filesystem::absolute(path).lexically_normal();
    return output;
}

std::optional<OutputDescription> OutputFromUrl(const std::string& url, const std::string& user,
                                               const std::string& password_file,
                                               std::string& error) {
    if (!IsStreamUrl(url)) {
        error = std::string("--url: ") + no_url;
        return std::nullopt;
    }
    OutputDescription output;
    output.place = "--url";
    output.type = OutputType::Rtmp;
    output.stream.url = url;
    output.stream.user = user;
    if (!password_file.empty()) {
        const auto password = ReadPassword(password_file, error);
        if (!password) return std::nullopt;
        output.stream.password = *password;
    }
    return output;
}

bool OutputsCollide(const std::vector<OutputDescription>& outputs, std::string& error) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (outputs[i].file != outputs[j].file ||
                outputs[i].stream.url != outputs[j].stream.url)
                continue;
            const std::string what =
                outputs[i].type == OutputType::Rtmp ? "that stream" : outputs[i].file.string();
            error = outputs[i].place + ": " + what + " is already written by " + outputs[j].place;
            return true;
        }
    }
    return false;
}

}  // namespace studio

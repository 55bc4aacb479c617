#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>

#include "scene/OutputReader.h"
#include "scene/SceneLines.h"
#include "scene/SceneNode.h"

namespace studio {

namespace {

using Json = nlohmann::json;

constexpr int side_limit = 16384;
constexpr int fps_limit = 120;
constexpr int coordinate_limit = 1 << 20;
constexpr double volume_limit = 400;  // per cent
constexpr double seconds_limit = 1e7;
constexpr double full_volume = 100;
constexpr int least_pitch = 10;
constexpr int most_pitch = 400;

Color ReadColor(const SceneNode& node, const std::string& name) {
    const std::string text = node.Text(name);
    const bool hexadecimal = std::all_of(text.begin() + (text.empty() ? 0 : 1), text.end(),
                                         [](unsigned char c) { return std::isxdigit(c); });
    if ((text.size() != 7 && text.size() != 9) || text[0] != '#' || !hexadecimal) {
        FailScene(node.PlaceOf(name),
                  "must be a colour as \"#rrggbb\" or \"#rrggbbaa\", not \"" + text + "\"");
    }
    const auto channel = [&](std::size_t at) {
        return static_cast<std::uint8_t>(std::stoi(text.substr(at, 2), nullptr, 16));
    };
    return {channel(1), channel(3), channel(5), text.size() == 9 ? channel(7) : std::uint8_t{255}};
}

Rect ReadRect(const SceneNode& node, const std::string& name) {
    const Json& list = node.List(name);
    const std::string place = node.PlaceOf(name);
    if (list.size() != 4) FailScene(place, "must hold 4 numbers: x, y, width, height");
    const auto part = [&](std::size_t i, int lowest, int highest) {
        return SceneNode::ToInteger(list[i], place + "[" + std::to_string(i) + "]", lowest,
                                    highest);
    };
    return {part(0, -coordinate_limit, coordinate_limit),
            part(1, -coordinate_limit, coordinate_limit), part(2, 1, side_limit),
            part(3, 1, side_limit)};
}

Fit ReadFit(const SceneNode& node) {
    if (!node.Has("fit")) return Fit::Contain;
    const std::string fit = node.Text("fit");
    if (fit == "contain") return Fit::Contain;
    if (fit == "cover") return Fit::Cover;
    if (fit == "stretch") return Fit::Stretch;
    FailScene(node.PlaceOf("fit"),
              "must be \"contain\", \"cover\" or \"stretch\", not \"" + fit + "\"");
}

// A number, or a text with one as "vimbrel windows" prints it.
std::uint32_t ReadWindowNumber(const SceneNode& node) {
    const Json& value = node.At("id");
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text.c_str(), &end, 0);
    const bool begins_well = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
    if (!begins_well || *end != '\0' || number == 0 || number > UINT32_MAX) {
        FailScene(node.PlaceOf("id"), "must be a window's number, as in \"0x1400003\"");
    }
    return static_cast<std::uint32_t>(number);
}

WindowDescription ReadWindow(const SceneNode& node) {
    node.AllowOnly({"type", "title", "class", "id", "window", "cursor", "rect", "fit", "opacity"});
    if (node.Has("title") + node.Has("class") + node.Has("id") + node.Has("window") != 1)
        FailScene(node.Place(), "must have one of \"title\", \"class\", \"id\" and \"window\"");
    WindowDescription window;
    const auto text = [&](const std::string& name) {
        std::string value = node.Text(name);
        if (value.empty()) FailScene(node.PlaceOf(name), "must not be empty");
        return value;
    };
    if (node.Has("title")) window.title = text("title");
    if (node.Has("class")) window.window_class = text("class");
    if (node.Has("window") && node.Text("window") != "choose")
        FailScene(node.PlaceOf("window"), "must be \"choose\"");
    window.choose = node.Has("window");
    if (node.Has("id")) window.number = ReadWindowNumber(node);
    if (node.Has("cursor")) window.cursor = node.Flag("cursor");
    window.fit = ReadFit(node);
    return window;
}

MediaDescription ReadMedia(const SceneNode& node, const std::filesystem::path& folder) {
    node.AllowOnly({"type", "file", "start", "stop", "loop", "rate", "pitch", "volume",
                    "audio-stream", "subtitles", "output", "rect", "fit", "opacity"});
    MediaDescription media;
    media.file = node.File(folder);
    if (node.Has("start")) media.start = node.Number("start", 0, seconds_limit);
    if (node.Has("stop")) media.stop = node.Number("stop", 0, seconds_limit);
    if (node.Has("loop")) media.loop = node.Flag("loop");
    if (node.Has("rate")) media.rate = node.Integer("rate", 1, 1000);
    if (node.Has("pitch")) media.pitch = node.Integer("pitch", 10, 1000);
    if (node.Has("volume")) media.volume = node.Integer("volume", 0, 100);
    if (node.Has("audio-stream")) media.audio_stream = node.Integer("audio-stream", 0, 10000);
    if (node.Has("subtitles")) media.subtitles = node.Flag("subtitles");
    if (node.Has("output")) media.output = node.Text("output");
    media.fit = ReadFit(node);
    return media;
}

LayerDescription ReadLayer(const SceneNode& node, const std::filesystem::path& folder) {
    LayerDescription layer;
    layer.place = node.Place();
    const std::string type = node.Text("type");
    if (type == "picture" || type == "gif") {
        node.AllowOnly({"type", "file", "rect", "fit", "opacity"});
        if (type == "picture") {
            layer.content = PictureDescription{node.File(folder), ReadFit(node)};
        } else {
            layer.content = GifDescription{node.File(folder), ReadFit(node)};
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
    } else if (type == "media") {
        layer.content = ReadMedia(node, folder);
    } else if (type == "camera") {
        node.AllowOnly({"type", "device", "format", "rect", "fit", "opacity"});
        CameraDescription camera;
        if (node.Has("device")) camera.device = node.Text("device");
        if (node.Has("format")) camera.format = node.Text("format");
        camera.fit = ReadFit(node);
        layer.content = camera;
    } else {
        FailScene(node.PlaceOf("type"),
                  "unknown layer type \"" + type +
                      "\"; there are picture, gif, text, color, screen, window, "
                      "camera and media");
    }
    layer.rect = ReadRect(node, "rect");
    if (node.Has("opacity")) layer.opacity = node.Number("opacity", 0.0, 1.0);
    return layer;
}

SoundDescription ReadSound(const SceneNode& node, const std::filesystem::path& folder) {
    SoundDescription sound;
    sound.place = node.Place();
    const std::string type = node.Text("type");
    const auto device = [&] { return node.Has("device") ? node.Text("device") : std::string(); };
    double loudest = volume_limit;
    if (type == "file") {
        node.AllowOnly({"type", "file", "volume"});
        sound.content = SoundFileDescription{node.File(folder)};
    } else if (type == "microphone") {
        node.AllowOnly({"type", "device", "volume", "pitch", "mute"});
        MicrophoneDescription microphone{device()};
        if (node.Has("pitch")) microphone.pitch = node.Integer("pitch", least_pitch, most_pitch);
        if (node.Has("mute")) microphone.mute = node.Flag("mute");
        sound.content = microphone;
        // Louder is the device's own matter.
        loudest = full_volume;
    } else if (type == "system") {
        node.AllowOnly({"type", "device", "volume"});
        sound.content = SystemSoundDescription{device()};
    } else if (type == "media") {
        node.AllowOnly({"type", "volume"});
        sound.content = MediaSoundDescription{};
    } else {
        FailScene(node.PlaceOf("type"), "unknown type of sound \"" + type +
                                            "\"; there are file, media, microphone and system");
    }
    if (node.Has("volume")) sound.volume = node.Number("volume", 0, loudest) / full_volume;
    return sound;
}

CanvasDescription ReadCanvas(const SceneNode& node) {
    node.AllowOnly({"width", "height", "fps", "background"});
    CanvasDescription canvas;
    canvas.width = node.Integer("width", 1, side_limit);
    canvas.height = node.Integer("height", 1, side_limit);
    canvas.fps = node.Integer("fps", 1, fps_limit);
    if (node.Has("background")) canvas.background = ReadColor(node, "background");
    return canvas;
}

// Media that are mixed are also played: without an output a file has no sound.
void PlayMedia(Scene& scene) {
    const SoundDescription* mixed = nullptr;
    for (const SoundDescription& sound : scene.sound) {
        if (!std::holds_alternative<MediaSoundDescription>(sound.content)) continue;
        if (mixed) FailScene(sound.place, "is the sound of the media again, as " + mixed->place);
        mixed = &sound;
    }
    for (LayerDescription& layer : scene.layers) {
        auto* const media = std::get_if<MediaDescription>(&layer.content);
        if (mixed && media && media->output.empty()) media->output = "Default DirectSound Device";
    }
}

Scene ReadDocument(const Json& json, const std::filesystem::path& folder) {
    const SceneNode root(json, "");
    root.AllowOnly({"$schema", "canvas", "layers", "sound", "outputs"});
    Scene scene;
    scene.canvas = ReadCanvas(SceneNode(root.At("canvas"), "canvas"));
    const auto each = [&](const std::string& name, const auto& read) {
        if (!root.Has(name)) return;
        const Json& list = root.List(name);
        for (std::size_t i = 0; i < list.size(); ++i)
            read(SceneNode(list[i], name + "[" + std::to_string(i) + "]"));
    };
    each("layers", [&](const SceneNode& node) { scene.layers.push_back(ReadLayer(node, folder)); });
    each("sound", [&](const SceneNode& node) { scene.sound.push_back(ReadSound(node, folder)); });
    each("outputs",
         [&](const SceneNode& node) { scene.outputs.push_back(ReadOutput(node, folder)); });
    PlayMedia(scene);
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
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    try {
        const Json json = Json::parse(text, nullptr, true, true);
        return ReadDocument(json, std::filesystem::absolute(document).parent_path());
    } catch (const WrongScene& wrong) {
        error = name + ": " + wrong.message + " (line " +
                std::to_string(LineOf(text, wrong.place)) + ")";
    } catch (const Json::exception& exception) {
        // The library's messages begin with its own number in brackets.
        const std::string_view what = exception.what();
        const std::size_t start = what.find("] ");
        error = name + ": " + std::string(start == what.npos ? what : what.substr(start + 2));
    }
    return std::nullopt;
}

}  // namespace studio

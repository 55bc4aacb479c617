#include "ScreenScene.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>

#include "devices/SoundDevices.h"
#include "layers/Desktop.h"

namespace studio {

namespace {

// What a desktop shows that does not tell its size before it is shown.
constexpr int usual_width = 1920;
constexpr int usual_height = 1080;

struct Shown {
    decltype(LayerDescription::content) content;
    int width = usual_width;
    int height = usual_height;
};

std::optional<Rect> ParseRegion(const std::string& text) {
    std::istringstream numbers(text);
    Rect region;
    char separators[3] = {};
    numbers >> region.x >> separators[0] >> region.y >> separators[1] >> region.width >>
        separators[2] >> region.height;
    const bool separated = std::string_view(separators, 3) == ",,,";
    if (!numbers || !separated || numbers.peek() != EOF || region.width < 2 || region.height < 2)
        return std::nullopt;
    return region;
}

bool ShowWindow(const std::string& title, Shown& shown, std::string& error) {
    WindowDescription description;
    description.choose = title == "choose";
    if (!description.choose) description.title = title;
    shown.content = description;
    if (description.choose || IsPermissionNeeded()) return true;
    const auto window = FindWindow(description);
    if (!window) {
        error = "--window: there is no window \"" + title + "\"; \"vimbrel windows\" lists them";
        return false;
    }
    shown.width = window->width;
    shown.height = window->height;
    return true;
}

bool ShowScreen(const std::string& region, ScreenPermission& permission, Shown& shown,
                std::string& error) {
    ScreenDescription description;
    if (!region.empty()) {
        description.region = ParseRegion(region);
        if (!description.region) {
            error = "--region: \"" + region + "\" is not X,Y,WIDTH,HEIGHT";
            return false;
        }
    }
    shown.content = description;
    // No optional, which g++ 12 takes for uninitialised in the batches of the sanitizers.
    bool found = description.region.has_value();
    Rect area = description.region.value_or(Rect());
    if (IsPermissionNeeded()) {
        if (!permission.Ask(ScreenPermission::Kind::Desktop, true, "screen", error)) return false;
        if (!found && permission.Width() > 0) {
            area = Rect{0, 0, permission.Width(), permission.Height()};
            found = true;
        }
    } else if (const auto primary = PrimaryArea(); !primary) {
        found = false;
    } else if (!found) {
        area = *primary;
        found = true;
    }
    if (!found) {
        error = no_screen;
        return false;
    }
    shown.width = area.width;
    shown.height = area.height;
    return true;
}

std::vector<SoundDescription> SoundOfTheDesktop() {
    const nlohmann::json devices = ListSoundDevices();
    std::vector<SoundDescription> sound;
    const auto add = [&](const char* kind, const char* what, auto description) {
        if (devices[kind].empty()) {
            std::fprintf(stderr, "vimbrel: there is no %s\n", what);
        } else {
            sound.push_back({.place = what, .content = description});
        }
    };
    add("outputs", "system sound", SystemSoundDescription{});
    add("microphones", "microphone", MicrophoneDescription{});
    return sound;
}

}  // namespace

std::optional<Scene> MakeScreenScene(const ScreenOptions& options, ScreenPermission& permission,
                                     std::string& error) {
    Shown shown;
    if (!(options.window.empty() ? ShowScreen(options.region, permission, shown, error)
                                 : ShowWindow(options.window, shown, error)))
        return std::nullopt;
    Scene scene;
    scene.canvas.width = shown.width - shown.width % 2;
    scene.canvas.height = shown.height - shown.height % 2;
    scene.canvas.fps = options.fps;
    if (scene.canvas.width < 2 || scene.canvas.height < 2) {
        error = "what is to be shown has no size";
        return std::nullopt;
    }
    LayerDescription layer;
    layer.place = options.window.empty() ? "screen" : "--window";
    layer.rect = {0, 0, shown.width, shown.height};
    layer.content = shown.content;
    scene.layers.push_back(layer);
    if (options.sound) scene.sound = SoundOfTheDesktop();
    return scene;
}

std::string DatedFileName() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char name[64];
    std::strftime(name, sizeof name, "vimbrel-%Y-%m-%d-%H%M%S", &local);
    std::string file = std::string(name) + ".mp4";
    for (int other = 2; std::filesystem::exists(file); ++other)
        file = std::string(name) + "-" + std::to_string(other) + ".mp4";
    return file;
}

}  // namespace studio

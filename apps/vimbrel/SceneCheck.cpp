#include "SceneCheck.h"

#include <objbase.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "ImagingFactory.h"
#include "MediaFile.h"
#include "devices/SoundDevices.h"
#include "layers/CameraList.h"
#include "layers/Desktop.h"
#include "layers/Layer.h"
#include "layers/ScreenPermission.h"
#include "outputs/Output.h"
#include "outputs/RtmpOutput.h"
#include "sound/SoundFile.h"

namespace studio {

namespace {

// The part of a description that is printed, and what is wrong with it.
struct Finding {
    std::string what;
    std::string error;  // with its place
};

std::string Named(const char* kind, const std::string& name) {
    return std::string(kind) + (name.empty() ? ", the default one" : " \"" + name + "\"");
}

class LayerCheck {
public:
    LayerCheck(const LayerDescription& layer, int frames_per_second, IWICImagingFactory* imaging)
        : description(layer), fps(frames_per_second), factory(imaging) {}

    Finding operator()(const PictureDescription& picture) const {
        return Opened("picture " + picture.file.string());
    }
    Finding operator()(const GifDescription& gif) const {
        return Opened("gif " + gif.file.string());
    }
    Finding operator()(const TextDescription& text) const { return {"text in " + text.font, {}}; }
    Finding operator()(const ColorDescription&) const { return {"color", {}}; }
    Finding operator()(const ScreenDescription& screen) const {
        Finding finding{"screen", {}};
        if (IsPermissionNeeded()) {
            finding.what += ", for which the desktop asks the user";
        } else if (const auto area = screen.region ? screen.region : PrimaryArea();
                   area && DesktopArea()) {
            finding.what += " " + AreaText(*area);
        } else {
            finding.error = description.place + ": there is no screen";
        }
        return finding;
    }
    Finding operator()(const WindowDescription& window) const {
        if (window.choose) return {"window that the user chooses", {}};
        const std::string name = window.title.empty() ? window.window_class : window.title;
        const auto found = FindWindow(window);
        if (!found) return {"window " + name, description.place + ": there is no such window"};
        return {"window \"" + found->title + "\"", {}};
    }
    Finding operator()(const MediaDescription& media) const {
        Finding finding{"media " + media.file.string(), {}};
        if (!CanPlayMedia(media.file, finding.error))
            finding.error.insert(0, description.place + ".file: ");
        return finding;
    }
    Finding operator()(const CameraDescription& camera) const {
        Finding finding{Named("camera", camera.device), {}};
        if (!FindCamera({camera.device, {}}, camera.format, finding.error))
            finding.error.insert(0, description.place + ": ");
        return finding;
    }

private:
    Finding Opened(const std::string& what) const {
        Finding finding{what, {}};
        OpenLayer(description, fps, factory, finding.error);
        return finding;
    }

    const LayerDescription& description;
    const int fps;
    IWICImagingFactory* const factory;
};

Finding CheckDevice(const char* kind, const nlohmann::json& devices, const std::string& name,
                    const std::string& place) {
    const bool found =
        name.empty() ? !devices.empty()
                     : std::any_of(devices.begin(), devices.end(),
                                   [&](const auto& device) { return device["name"] == name; });
    Finding finding{Named(kind, name), {}};
    if (!found) finding.error = place + ".device: there is none; \"vimbrel devices\" lists them";
    return finding;
}

Finding CheckSound(const SoundDescription& sound, const nlohmann::json& devices) {
    if (const auto* file = std::get_if<SoundFileDescription>(&sound.content)) {
        Finding finding{"file " + file->file.string(), {}};
        if (!SoundFile::Open(file->file, finding.error))
            finding.error.insert(0, sound.place + ".file: ");
        return finding;
    }
    if (const auto* microphone = std::get_if<MicrophoneDescription>(&sound.content))
        return CheckDevice("microphone", devices["microphones"], microphone->device, sound.place);
    if (const auto* system = std::get_if<SystemSoundDescription>(&sound.content))
        return CheckDevice("system sound", devices["outputs"], system->device, sound.place);
    return {"what the media layers play", {}};
}

Finding CheckOutput(const OutputDescription& output, const CanvasDescription& canvas) {
    if (output.type == OutputType::Rtmp)
        return {"stream to " + PublicUrl(output.stream.url), OddCanvas(output, canvas)};
    Finding finding{(output.type == OutputType::Gif ? "gif " : "mp4 ") + output.file.string(),
                    OddCanvas(output, canvas)};
    const std::string folder = output.file.parent_path().string();
    if (access(folder.c_str(), W_OK) != 0)
        finding.error = output.place + ".file: " + folder + ": is no folder to write to";
    return finding;
}

}  // namespace

ExitCode CheckScene(const Scene& scene, const std::string& scene_name) {
    const bool started = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    ExitCode code = exit_done;
    const auto tell = [&](const std::string& place, const Finding& finding) {
        std::printf("%-12s %s\n", place.c_str(), finding.what.c_str());
        if (finding.error.empty()) return;
        std::fflush(stdout);
        std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), finding.error.c_str());
        code = exit_bad_input;
    };
    const CanvasDescription& canvas = scene.canvas;
    tell("canvas", {std::to_string(canvas.width) + "x" + std::to_string(canvas.height) + ", " +
                        std::to_string(canvas.fps) + " frames per second",
                    {}});
    {
        const ImagingFactory factory = MakeImagingFactory();
        for (const LayerDescription& layer : scene.layers)
            tell(layer.place,
                 std::visit(LayerCheck(layer, canvas.fps, factory.get()), layer.content));
    }
    nlohmann::json devices;
    if (!scene.sound.empty()) devices = ListSoundDevices();
    for (const SoundDescription& sound : scene.sound) tell(sound.place, CheckSound(sound, devices));
    for (const OutputDescription& output : scene.outputs)
        tell(output.place, CheckOutput(output, canvas));
    if (started) CoUninitialize();
    return code;
}

}  // namespace studio

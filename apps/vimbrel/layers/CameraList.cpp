#include "layers/CameraList.h"

#include <cmath>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "scene/WideText.h"
#include "vimbrel/MediaSourceEnumerator.h"

namespace studio {

namespace {

using Vimbrel::MediaSourceCamera;

// The library has one list for the process.
std::mutex list_lock;

// The devices as they are now, with the lock held.
const std::vector<std::unique_ptr<MediaSourceCamera>>& ListDevices() {
    auto* const enumerator = Vimbrel::MediaSourceEnumerator::GetInstance();
    enumerator->GetVideoDevices().clear();
    enumerator->EnumerateVideoDS();
    return enumerator->GetVideoDevices();
}

// Devices have several paths: by number, by place and by serial number.
bool IsSameDevice(const std::string& path, const std::string& wanted) {
    std::error_code none;
    return path == wanted || std::filesystem::equivalent(path, wanted, none);
}

bool IsChosen(const MediaSourceCamera& camera, const CameraChoice& choice) {
    const std::string name = Narrow(camera.GetFriendlyName());
    const std::string path = Narrow(camera.GetDevicePath());
    if (!choice.path.empty()) return name == choice.device && path == choice.path;
    return choice.device.empty() || name == choice.device || IsSameDevice(path, choice.device);
}

// The label's first word, which names the pixels.
std::string PixelsOf(const MediaSourceCamera::Format& format) {
    const std::string label = Narrow(format.label);
    return label.substr(0, label.find(' '));
}

std::string TextOf(const MediaSourceCamera::Format& format) {
    std::string text = std::to_string(format.width) + "x" + std::to_string(format.height);
    const std::string label = Narrow(format.label);
    const std::size_t rate = label.find(", ");
    if (rate != std::string::npos)
        text += "@" + label.substr(rate + 2, label.find("FPS") - rate - 2);
    return text + " " + PixelsOf(format);
}

}  // namespace

int FindFormat(const MediaSourceCamera& camera, const std::string& text) {
    const auto& formats = camera.GetOutputFormats();
    for (std::size_t i = 0; i < formats.size(); ++i) {
        const std::string whole = TextOf(formats[i]);
        const std::string size = whole.substr(0, whole.find_first_of("@ "));
        const std::string with_rate = whole.substr(0, whole.find(' '));
        if (text == whole || text == with_rate || text == size ||
            text == size + " " + PixelsOf(formats[i]))
            return static_cast<int>(i);
    }
    return -1;
}

bool HasChosenRate(MediaSourceCamera& camera) {
    const auto index = static_cast<std::size_t>(camera.GetOutputFormat());
    const double rate = camera.GetMediaInfo().frameRate;
    if (index >= camera.GetOutputFormats().size() || rate <= 0) return true;
    // Whole milliseconds per picture, cut off, against a rounded number of pictures per second.
    const int frame_time = camera.GetOutputFormats()[index].frameTime;
    return frame_time <= 0 || (rate >= std::round(1000.0 / (frame_time + 1)) &&
                               rate <= std::round(1000.0 / frame_time));
}

std::unique_ptr<MediaSourceCamera> FindCamera(const CameraChoice& choice, const std::string& format,
                                              std::string& error) {
    const std::string& device = choice.device;
    const std::lock_guard guard(list_lock);
    for (const auto& each : ListDevices()) {
        if (!IsChosen(*each, choice)) continue;
        std::unique_ptr<MediaSourceCamera> camera(each->CreateDevice());
        if (format.empty()) return camera;
        camera->SetOutputFormat(FindFormat(*camera, format));
        if (camera->GetOutputFormat() >= 0) return camera;
        error =
            "the camera has no format \"" + format + "\"; \"vimbrel devices\" lists its formats";
        return nullptr;
    }
    error = device.empty() ? "there is no camera"
                           : "there is no camera \"" + device +
                                 "\"; \"vimbrel devices\" lists those that there are";
    return nullptr;
}

nlohmann::json ListCameras() {
    const bool started = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    nlohmann::json list = nlohmann::json::array();
    {
        const std::lock_guard guard(list_lock);
        for (const auto& each : ListDevices()) {
            nlohmann::json formats = nlohmann::json::array();
            for (std::size_t i = 0; i < each->GetOutputFormats().size(); ++i) {
                formats.push_back({{"format", TextOf(each->GetOutputFormats()[i])},
                                   {"default", each->GetOutputFormat() == static_cast<int>(i)}});
            }
            list.push_back({{"name", Narrow(each->GetFriendlyName())},
                            {"path", Narrow(each->GetDevicePath())},
                            {"formats", formats}});
        }
    }
    if (started) CoUninitialize();
    return list;
}

}  // namespace studio

#include "devices/DeviceList.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "devices/SoundDevices.h"
#include "layers/CameraList.h"

namespace studio {

namespace {

std::string TextOf(const nlohmann::json& value) { return value.get<std::string>(); }

void PrintCameras(const nlohmann::json& cameras) {
    if (cameras.empty()) std::printf("Cameras: none\n");
    for (const auto& camera : cameras) {
        std::printf("%s\n    %s\n", TextOf(camera["name"]).c_str(), TextOf(camera["path"]).c_str());
        for (const auto& format : camera["formats"])
            std::printf("  %c %s\n", format["default"].get<bool>() ? '*' : ' ',
                        TextOf(format["format"]).c_str());
    }
}

void PrintSound(const char* title, const nlohmann::json& devices) {
    std::printf("%s:%s\n", title, devices.empty() ? " none" : "");
    for (const auto& device : devices)
        std::printf("    %s%s\n", TextOf(device["name"]).c_str(),
                    device["default"].get<bool>() ? " (default)" : "");
}

}  // namespace

void PrintDevices(bool json) {
    nlohmann::json devices = ListSoundDevices();
    devices["cameras"] = ListCameras();
    if (json) {
        std::printf("%s\n", devices.dump(2).c_str());
        return;
    }
    PrintCameras(devices["cameras"]);
    PrintSound("Microphones", devices["microphones"]);
    PrintSound("Sound outputs", devices["outputs"]);
}

}  // namespace studio

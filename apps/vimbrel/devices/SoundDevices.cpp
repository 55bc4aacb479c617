#include "devices/SoundDevices.h"

#include <objbase.h>

#include <nlohmann/json.hpp>

#include "scene/WideText.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace studio {

namespace {

using Devices = std::vector<std::unique_ptr<Vimbrel::AudioDevice>>;

// The first of several with the default one's name is the default.
nlohmann::json ListOf(const Devices& devices, const std::wstring& default_name) {
    nlohmann::json list = nlohmann::json::array();
    bool marked = false;
    for (const auto& device : devices) {
        const bool is_default = !marked && device->name == default_name;
        marked |= is_default;
        list.push_back({{"name", Narrow(device->name)}, {"default", is_default}});
    }
    return list;
}

}  // namespace

nlohmann::json ListSoundDevices() {
    const bool started = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    Vimbrel::AudioDeviceEnumerator& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    nlohmann::json lists;
    devices.EnumerateInputDevices();
    lists["microphones"] = ListOf(devices.GetInputDevices(), devices.GetDefaultInputDeviceName());
    constexpr int direct_sound = 0;
    devices.EnumerateOutputDevices(direct_sound);
    const std::wstring default_output = devices.GetDefaultOutputDeviceName();
    // The list begins with an entry that stands for the default one.
    Devices& outputs = devices.GetOutputDevices();
    if (!outputs.empty() && outputs.front()->name == devices.GetDefaultOutputDevice())
        outputs.erase(outputs.begin());
    lists["outputs"] = ListOf(outputs, default_output);
    if (started) CoUninitialize();
    return lists;
}

}  // namespace studio

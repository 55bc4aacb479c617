#include "devices/SoundDevices.h"

#include <objbase.h>

#include <cstdio>

#include "scene/WideText.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace studio {

namespace {

using Devices = std::vector<std::unique_ptr<Vimbrel::AudioDevice>>;

// The first of several with the default one's name is the default.
void Print(const char* title, const Devices& devices, const std::wstring& default_name) {
    std::printf("%s:%s\n", title, devices.empty() ? " none" : "");
    bool marked = false;
    for (const auto& device : devices) {
        const bool is_default = !marked && device->name == default_name;
        marked |= is_default;
        std::printf("    %s%s\n", Narrow(device->name).c_str(), is_default ? " (default)" : "");
    }
}

}  // namespace

void PrintSoundDevices() {
    const bool started = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    Vimbrel::AudioDeviceEnumerator& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    devices.EnumerateInputDevices();
    Print("Microphones", devices.GetInputDevices(), devices.GetDefaultInputDeviceName());
    constexpr int direct_sound = 0;
    devices.EnumerateOutputDevices(direct_sound);
    const std::wstring default_output = devices.GetDefaultOutputDeviceName();
    // The list begins with an entry that stands for the default one.
    Devices& outputs = devices.GetOutputDevices();
    if (!outputs.empty() && outputs.front()->name == devices.GetDefaultOutputDevice())
        outputs.erase(outputs.begin());
    Print("Sound outputs", outputs, default_output);
    if (started) CoUninitialize();
}

}  // namespace studio

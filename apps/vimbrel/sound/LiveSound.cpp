#include "sound/LiveSound.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "scene/WideText.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace studio {

namespace {

using Devices = std::vector<std::unique_ptr<Vimbrel::AudioDevice>>;

bool Has(const Devices& devices, const std::wstring& name) {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const auto& each) { return each->name == name; });
}

std::string Missing(const char* what, const std::string& name) {
    return name.empty() ? std::string("there is no ") + what
                        : std::string("there is no ") + what + " \"" + name +
                              "\"; \"vimbrel devices\" lists them";
}

}  // namespace

LiveSound::LiveSound(bool is_microphone)
    : microphone(is_microphone), factory(Vimbrel::CAudioFactory::CreateAudioFactory()) {
    factory->SetDispatcher([this](unsigned char* data, int size, std::int64_t, std::int64_t) {
        queue.PushBytes(data, size);
    });
}

LiveSound::~LiveSound() { factory->Close(); }

std::unique_ptr<LiveSound> LiveSound::Open(const SoundDescription& description,
                                           std::string& error) {
    const auto* const input = std::get_if<MicrophoneDescription>(&description.content);
    std::unique_ptr<LiveSound> sound(new LiveSound(input != nullptr));
    const bool opened = input ? sound->OpenMicrophone(*input, description.volume, error)
                              : sound->OpenSystemSound(
                                    std::get<SystemSoundDescription>(description.content), error);
    return opened && sound->Start(error) ? std::move(sound) : nullptr;
}

bool LiveSound::OpenMicrophone(const MicrophoneDescription& description, double volume,
                               std::string& error) {
    Vimbrel::AudioDeviceEnumerator& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    devices.EnumerateInputDevices();
    std::wstring name = Widen(description.device);
    // Without a default one that it knows by name, the system's first.
    if (name.empty()) name = devices.GetDefaultInputDevice();
    if (description.device.empty() && !Has(devices.GetInputDevices(), name) &&
        !devices.GetInputDevices().empty())
        name = devices.GetInputDevices().front()->name;
    if (!Has(devices.GetInputDevices(), name)) {
        error = Missing("microphone", description.device);
        return false;
    }
    constexpr double per_cent = 100;
    factory->SetMicrophoneVolume(static_cast<int>(std::lround(volume * per_cent)));
    factory->SetMicrophonePitch(description.pitch);
    factory->SetMicrophoneMute(description.mute);
    if (factory->Open(false, {}, true, name)) return true;
    error = "the microphone \"" + Narrow(name) + "\" cannot be opened";
    return false;
}

bool LiveSound::OpenSystemSound(const SystemSoundDescription& description, std::string& error) {
    Vimbrel::AudioDeviceEnumerator& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    constexpr int direct_sound = 0;
    devices.EnumerateOutputDevices(direct_sound);
    const std::wstring name = Widen(description.device);
    // The factory would take the default device for an unknown name.
    if (!name.empty() && !Has(devices.GetOutputDevices(), name)) {
        error = Missing("sound output", description.device);
        return false;
    }
    if (factory->Open(true, name, false, {})) return true;
    error = name.empty() ? Missing("sound output", {})
                         : "the sound output \"" + description.device + "\" cannot be opened";
    return false;
}

bool LiveSound::Start(std::string& error) {
    if (factory->Start()) return true;
    error = std::string("the ") + (microphone ? "microphone" : "sound output") + " does not start";
    return false;
}

}  // namespace studio

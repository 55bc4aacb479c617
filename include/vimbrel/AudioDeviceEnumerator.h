// The sound devices of the system by their names.
#pragma once

#include <objbase.h>

#include <memory>
#include <string>
#include <vector>

#include "vimbrel/Export.h"

struct IBaseFilter;

namespace Vimbrel {

class VIMBREL_API AudioDevice {
public:
    AudioDevice() = default;
    virtual ~AudioDevice() = default;

    std::wstring name;  // what users see; not unique
};

// Lists what there is at the moment of each call; nothing follows later changes, and nothing is
// stored on disk. One thread, with COM started. While another thread opens devices by name, the
// class of outputs must not change.
//
// The system lists each output twice, by a renderer of each class: "DirectSound: " and a name, and
// the bare name. The application sees one class, with bare names either way.
class VIMBREL_API AudioDeviceEnumerator {
public:
    // Lists nothing yet. Destroyed at the end of the process.
    static AudioDeviceEnumerator* GetInstance();

    AudioDeviceEnumerator(const AudioDeviceEnumerator&) = delete;
    AudioDeviceEnumerator& operator=(const AudioDeviceEnumerator&) = delete;
    virtual ~AudioDeviceEnumerator();

    // Empties both lists.
    void Clear();
    // Lists anew, and sets the default device: for inputs and for class 1 to that of the system,
    // for other outputs to "Default DirectSound Device". After a failure the list is empty.
    void EnumerateInputDevices();
    // 0: DirectSound. 1: WaveOut. Otherwise everything under its full name. Defaults come first,
    // the others in the order of their characters.
    void EnumerateOutputDevices(int device_class);

    std::vector<std::unique_ptr<AudioDevice>>& GetInputDevices() { return input_devices; }
    const std::vector<std::unique_ptr<AudioDevice>>& GetInputDevices() const {
        return input_devices;
    }
    std::vector<std::unique_ptr<AudioDevice>>& GetOutputDevices() { return output_devices; }
    const std::vector<std::unique_ptr<AudioDevice>>& GetOutputDevices() const {
        return output_devices;
    }

    // The application's choice, or what the last listing set.
    const std::wstring GetDefaultInputDevice() const { return default_input_device; }
    const std::wstring GetDefaultOutputDevice() const { return default_output_device; }
    void SetDefaultInputDevice(const std::wstring& name) { default_input_device = name; }
    void SetDefaultOutputDevice(const std::wstring& name) { default_output_device = name; }

    // The system's default input, as of the last listing that found one.
    const std::wstring GetDefaultInputDeviceName() const { return system_input_device; }
    // The default output as a plain name, which is what recording an output wants: for the entry of
    // the system's default that default itself.
    const std::wstring GetDefaultOutputDeviceName() const;

    // The filter of the first device of that name; a reference of the caller's. With class 0 the
    // names of outputs are those of the list. False if there is none, or if it cannot be opened.
    static bool GetAudioFilter(const std::wstring& name, bool input, IBaseFilter** filter);

private:
    AudioDeviceEnumerator();

    void EnumerateDevicesDS(bool input);
    static bool GetAudioFilterDS(const std::wstring& name, bool input, IBaseFilter** filter);
    void LoadDefaultAudioDevice(bool input);

    static int m_output_devices_class;

    std::vector<std::unique_ptr<AudioDevice>> input_devices;
    std::vector<std::unique_ptr<AudioDevice>> output_devices;
    std::wstring system_input_device;
    std::wstring system_output_device;
    std::wstring default_input_device;
    std::wstring default_output_device;
};

}  // namespace Vimbrel

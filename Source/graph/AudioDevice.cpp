#include <windows.h>

#include <mmdeviceapi.h>
#include <oleauto.h>
#include <strmif.h>
#include <uuids.h>

// Needs the types of the others.
#include <functiondiscoverykeys_devpkey.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/ObjectCreation.h"
#include "vimbrel/AppLog.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace Vimbrel {

namespace {

constexpr int direct_sound = 0;
constexpr int wave_out = 1;

constexpr std::wstring_view default_direct_sound = L"Default DirectSound Device";
constexpr std::wstring_view default_wave_out = L"Default WaveOut Device";
constexpr std::wstring_view direct_sound_prefix = L"DirectSound: ";
// A virtual device, whose renderer has no twin with a prefix.
constexpr std::wstring_view virtual_device = L"Halvorix Sonvex";

using Devices = std::vector<std::unique_ptr<AudioDevice>>;

// Kept: log files are searched for these places.
enum LogLine { create_line = 195, list_line = 203, storage_line = 260, bind_line = 327 };

// Unlike other failures, that there are no devices is no failing result but is logged as one.
void LogResult(HRESULT result, const char* call, LogLine line,
               HalvorixAppLog::LogLevel level = HalvorixAppLog::LOG_LEVEL_ERROR) {
    namespace log = HalvorixAppLog;
    log::IAppLogManager* const logger = log::GetAppLogger();
    if (!logger->PreCheck(log::LOGGER_MAIN, level)) return;
    log::LogRecord* const record = logger->MakeRecord(log::LOGGER_MAIN, level);
    log::AppendFormat(*record, "%s failed - 0x%08X", call, static_cast<unsigned>(result));
    logger->Submit(record, "Source\\AudioDevice", line);
}

bool Contains(const std::wstring& name, std::wstring_view part) {
    return name.find(part) != std::wstring::npos;
}

void Cut(std::wstring& name, std::wstring_view part) {
    if (const auto place = name.find(part); place != std::wstring::npos)
        name.erase(place, part.size());
}

std::wstring SortKey(const std::wstring& name) {
    if (Contains(name, L"Default ")) return L"0 - " + name;
    return Contains(name, direct_sound_prefix) ? name : L"WaveOut: " + name;
}

// Empty if it cannot be read.
std::wstring FriendlyName(IPropertyBag& properties) {
    VARIANT value;
    VariantInit(&value);
    std::wstring name;
    if (SUCCEEDED(properties.Read(L"FriendlyName", &value, nullptr)) && value.vt == VT_BSTR &&
        value.bstrVal)
        name = value.bstrVal;
    VariantClear(&value);
    return name;
}

ComPtr<IPropertyBag> Properties(IMoniker& moniker, HRESULT& result) {
    ComPtr<IPropertyBag> properties;
    void* object = nullptr;
    result = moniker.BindToStorage(nullptr, nullptr, __uuidof(IPropertyBag), &object);
    if (SUCCEEDED(result)) properties.Attach(static_cast<IPropertyBag*>(object));
    return properties;
}

// Null if the category has no devices.
HRESULT List(ICreateDevEnum& devices, bool input, ComPtr<IEnumMoniker>& monikers) {
    return devices.CreateClassEnumerator(
        input ? CLSID_AudioInputDeviceCategory : CLSID_AudioRendererCategory, monikers.Put(), 0);
}

// Puts an output into the list of a class, or leaves it out.
void AddOutput(Devices& devices, std::unique_ptr<AudioDevice> device, int device_class) {
    std::wstring& name = device->name;
    const bool prefixed = Contains(name, direct_sound_prefix);
    auto place = devices.end();
    if (device_class == direct_sound) {
        if (name == default_direct_sound) {
            place = devices.begin();
        } else if (prefixed) {
            Cut(name, direct_sound_prefix);
        } else {
            return;
        }
    } else if (device_class == wave_out) {
        if (prefixed || name == default_direct_sound) return;
        if (name == default_wave_out) place = devices.begin();
    }
    devices.insert(place, std::move(device));
}

}  // namespace

int AudioDeviceEnumerator::m_output_devices_class = direct_sound;

AudioDeviceEnumerator::AudioDeviceEnumerator() = default;
AudioDeviceEnumerator::~AudioDeviceEnumerator() = default;

AudioDeviceEnumerator* AudioDeviceEnumerator::GetInstance() {
    static AudioDeviceEnumerator enumerator;
    return &enumerator;
}

void AudioDeviceEnumerator::Clear() {
    input_devices.clear();
    output_devices.clear();
}

// A failure leaves the name that was there.
void AudioDeviceEnumerator::LoadDefaultAudioDevice(bool input) {
    ComPtr<IMMDeviceEnumerator> enumerator;
    if (FAILED(CreateObject(CLSID_MMDeviceEnumerator, enumerator))) return;
    ComPtr<IMMDevice> device;
    if (FAILED(enumerator->GetDefaultAudioEndpoint(input ? eCapture : eRender, eMultimedia,
                                                   device.Put())))
        return;
    ComPtr<IPropertyStore> properties;
    if (FAILED(device->OpenPropertyStore(STGM_READ, properties.Put()))) return;
    PROPVARIANT value;
    PropVariantInit(&value);
    if (SUCCEEDED(properties->GetValue(PKEY_Device_FriendlyName, &value)) &&
        value.vt == VT_LPWSTR && value.pwszVal)
        (input ? system_input_device : system_output_device) = value.pwszVal;
    PropVariantClear(&value);
}

void AudioDeviceEnumerator::EnumerateInputDevices() {
    LoadDefaultAudioDevice(true);
    default_input_device = system_input_device;
    EnumerateDevicesDS(true);
}

void AudioDeviceEnumerator::EnumerateOutputDevices(int device_class) {
    m_output_devices_class = device_class;
    LoadDefaultAudioDevice(false);
    if (device_class == wave_out) {
        default_output_device = system_output_device;
    } else {
        default_output_device = default_direct_sound;
    }
    EnumerateDevicesDS(false);
}

void AudioDeviceEnumerator::EnumerateDevicesDS(bool input) {
    Devices& devices = input ? input_devices : output_devices;
    devices.clear();
    ComPtr<ICreateDevEnum> lists;
    HRESULT hr = CreateObject(CLSID_SystemDeviceEnum, lists);
    if (FAILED(hr)) return LogResult(hr, "Create SystemDeviceEnum", create_line);
    ComPtr<IEnumMoniker> monikers;
    hr = List(*lists.Get(), input, monikers);
    if (!monikers) return LogResult(hr, "CreateClassEnumerator", list_line);
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.Put(), nullptr) == S_OK) {
        const ComPtr<IPropertyBag> properties = Properties(*moniker.Get(), hr);
        if (!properties) {
            LogResult(hr, "IMoniker BindToStorage", storage_line, HalvorixAppLog::LOG_LEVEL_WARN);
            continue;
        }
        auto device = std::make_unique<AudioDevice>();
        device->name = FriendlyName(*properties.Get());
        if (input) {
            devices.push_back(std::move(device));
        } else {
            AddOutput(devices, std::move(device), m_output_devices_class);
        }
    }
    if (input) return;
    std::sort(devices.begin(), devices.end(),
              [](const auto& a, const auto& b) { return SortKey(a->name) < SortKey(b->name); });
}

const std::wstring AudioDeviceEnumerator::GetDefaultOutputDeviceName() const {
    std::wstring name = default_output_device;
    if (name == default_direct_sound || name == default_wave_out) return system_output_device;
    Cut(name, direct_sound_prefix);
    return name;
}

bool AudioDeviceEnumerator::GetAudioFilter(const std::wstring& name, bool input,
                                           IBaseFilter** filter) {
    return GetAudioFilterDS(name, input, filter);
}

bool AudioDeviceEnumerator::GetAudioFilterDS(const std::wstring& name, bool input,
                                             IBaseFilter** filter) {
    std::wstring wanted = name;
    // The list shows names of this class without their prefix.
    if (!input && m_output_devices_class == direct_sound && wanted != default_direct_sound &&
        wanted != default_wave_out && !Contains(wanted, direct_sound_prefix) &&
        !Contains(wanted, virtual_device))
        wanted.insert(0, direct_sound_prefix);
    ComPtr<ICreateDevEnum> lists;
    if (FAILED(CreateObject(CLSID_SystemDeviceEnum, lists))) return false;
    ComPtr<IEnumMoniker> monikers;
    List(*lists.Get(), input, monikers);
    if (!monikers) return false;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.Put(), nullptr) == S_OK) {
        HRESULT hr = S_OK;
        const ComPtr<IPropertyBag> properties = Properties(*moniker.Get(), hr);
        if (!properties || FriendlyName(*properties.Get()) != wanted) continue;
        hr = moniker->BindToObject(nullptr, nullptr, __uuidof(IBaseFilter),
                                   reinterpret_cast<void**>(filter));
        if (SUCCEEDED(hr)) return filter != nullptr;
        LogResult(hr, "GetAudioFilterDS BindToObject", bind_line);
        return false;
    }
    return false;
}

}  // namespace Vimbrel

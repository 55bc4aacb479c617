#include "platform/linux/ds/device/SoundOutputs.h"

#include <memory>

#include "com/Utf8.h"
#include "platform/linux/ds/device/PulseRenderer.h"
#include "platform/linux/pulse/PulseDevices.h"

namespace Vimbrel {

namespace {

DeviceEntry Entry(std::wstring name, const std::string& sink) {
    return {std::move(name), {}, [sink](REFIID iid, void** filter) {
                return CreatePulseRenderer(sink, iid, filter);
            }};
}

}  // namespace

std::vector<DeviceEntry> ListSoundOutputs() {
    std::vector<DeviceEntry> entries;
    std::shared_ptr<PulseConnection> connection;
    PulseDevices devices;
    if (FAILED(PulseConnection::Open(connection)) || FAILED(devices.Read(*connection)) ||
        devices.sinks.empty())
        return entries;
    entries.push_back(Entry(L"Default DirectSound Device", {}));
    entries.push_back(Entry(L"Default WaveOut Device", {}));
    for (const PulseDevice& sink : devices.sinks) {
        const std::wstring name = FromUtf8(sink.description);
        entries.push_back(Entry(L"DirectSound: " + name, sink.name));
        entries.push_back(Entry(name, sink.name));
    }
    return entries;
}

}  // namespace Vimbrel

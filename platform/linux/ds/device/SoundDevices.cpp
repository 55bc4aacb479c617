#include "platform/linux/ds/device/SoundDevices.h"

#include <memory>

#include "com/Utf8.h"
#include "platform/linux/ds/device/Microphone.h"
#include "platform/linux/pulse/PulseDevices.h"

namespace Vimbrel {

std::vector<DeviceEntry> ListMicrophones() {
    std::vector<DeviceEntry> entries;
    std::shared_ptr<PulseConnection> connection;
    PulseDevices devices;
    if (FAILED(PulseConnection::Open(connection)) || FAILED(devices.Read(*connection)))
        return entries;
    for (const PulseDevice& source : devices.sources) {
        entries.push_back({FromUtf8(source.description), {}, [source](REFIID iid, void** filter) {
                               return CreateMicrophone(source.name, source.rate, iid, filter);
                           }});
    }
    return entries;
}

}  // namespace Vimbrel

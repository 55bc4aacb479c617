// The video capture devices of the system.
#pragma once

#include <memory>
#include <vector>

#include "vimbrel/MediaSourceCamera.h"

namespace Vimbrel {

// One list for the process, to be filled once. For one thread, which has started COM
// (CoInitializeEx). The listed cameras are prototypes and must stay closed.
class VIMBREL_API MediaSourceEnumerator {
public:
    static MediaSourceEnumerator* GetInstance();
    MediaSourceEnumerator(const MediaSourceEnumerator&) = delete;
    MediaSourceEnumerator& operator=(const MediaSourceEnumerator&) = delete;

    // Devices that can set property 0 of this set are left out of later enumerations.
    void AddExcludeDevicePropertyGuid(const GUID& guid);
    // Appends the devices as they are now, each with its formats. Opens every device, which may
    // take seconds.
    void EnumerateVideoDS();
    std::vector<std::unique_ptr<MediaSourceCamera>>& GetVideoDevices() { return videoDevices; }
    const std::vector<std::unique_ptr<MediaSourceCamera>>& GetVideoDevices() const {
        return videoDevices;
    }
    // The first whose name, or path, is exactly the text; null if there is none. The list owns it.
    MediaSourceCamera* GetVideoDeviceByName(const wchar_t* name);
    MediaSourceCamera* GetVideoDeviceById(const wchar_t* path);

private:
    MediaSourceEnumerator() = default;
    virtual ~MediaSourceEnumerator() = default;

    bool CheckDevice(MediaSourceCamera* camera);
    bool IsExcluded(IUnknown& filter) const;

    std::vector<GUID> excludeGuids;
    std::uint32_t reserved = 0;
    std::vector<std::unique_ptr<MediaSourceCamera>> videoDevices;
};

}  // namespace Vimbrel

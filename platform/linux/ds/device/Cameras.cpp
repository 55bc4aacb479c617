#include "platform/linux/ds/device/Cameras.h"

#include "base/Failure.h"
#include "com/Utf8.h"
#include "platform/linux/ds/device/CaptureFilter.h"
#include "platform/linux/ds/device/V4l2Node.h"

namespace Vimbrel {

namespace {

// A device that was listed before udev had made its links was listed by its bus.
bool IsSame(const V4l2Name& now, const V4l2Name& listed) {
    return now.name == listed.name && (now.path == listed.path || now.bus == listed.path);
}

// The number of a device that is gone is the next one's.
HRESULT CreateCamera(const V4l2Name& listed, const std::string& folder, REFIID iid, void** object) {
    HRESULT hr = S_OK;
    std::unique_ptr<V4l2Node> device = V4l2Node::Open(listed.node, hr);
    if (!device) return hr;
    const V4l2Name now = NameOf(*device, listed.node, folder);
    if (!IsSame(now, listed)) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN,
                      "Camera - %s is another device now: %s (%s) instead of %s (%s)",
                      now.node.c_str(), now.name.c_str(), now.path.c_str(), listed.name.c_str(),
                      listed.path.c_str());
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    }
    auto* const filter = new CaptureFilter(std::move(device));
    hr = filter->QueryInterface(iid, object);
    filter->Release();
    return hr;
}

}  // namespace

std::vector<DeviceEntry> ListCamerasBelow(const std::string& folder) {
    std::vector<DeviceEntry> cameras;
    for (const V4l2Name& each : ListV4l2Nodes(folder)) {
        cameras.push_back(
            {FromUtf8(each.name), FromUtf8(each.path), [each, folder](REFIID iid, void** object) {
                 return CreateCamera(each, folder, iid, object);
             }});
    }
    return cameras;
}

std::vector<DeviceEntry> ListCameras() { return ListCamerasBelow("/dev"); }

}  // namespace Vimbrel

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

// A device that was plugged in again may have another number, and its own may be the next one's.
std::unique_ptr<V4l2Device> Find(const V4l2Name& listed, const std::string& folder, HRESULT& hr) {
    std::unique_ptr<V4l2Node> device = V4l2Node::Open(listed.node, hr);
    const bool opened = static_cast<bool>(device);
    const HRESULT first = opened ? HRESULT_FROM_WIN32(ERROR_NOT_FOUND) : hr;
    const V4l2Name found = opened ? NameOf(*device, listed.node, folder) : V4l2Name();
    if (opened && IsSame(found, listed)) return device;
    device.reset();
    for (const V4l2Name& each : ListV4l2Nodes(folder)) {
        if (IsSame(each, listed)) return V4l2Node::Open(each.node, hr);
    }
    if (opened) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN,
                      "Camera - %s is another device now: %s (%s) instead of %s (%s)",
                      found.node.c_str(), found.name.c_str(), found.path.c_str(),
                      listed.name.c_str(), listed.path.c_str());
    }
    hr = first;
    return nullptr;
}

HRESULT CreateCamera(const V4l2Name& listed, const std::string& folder, REFIID iid, void** object) {
    HRESULT hr = S_OK;
    std::unique_ptr<V4l2Device> device = Find(listed, folder, hr);
    if (!device) return hr;
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

#include "platform/linux/ds/device/Cameras.h"

#include "com/Utf8.h"
#include "platform/linux/ds/device/CaptureFilter.h"
#include "platform/linux/ds/device/V4l2Node.h"

namespace Vimbrel {

namespace {

HRESULT CreateCamera(const std::string& node, REFIID iid, void** object) {
    HRESULT hr = S_OK;
    std::unique_ptr<V4l2Device> device = V4l2Node::Open(node, hr);
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
        cameras.push_back({FromUtf8(each.name), FromUtf8(each.path),
                           [node = each.node](REFIID iid, void** object) {
                               return CreateCamera(node, iid, object);
                           }});
    }
    return cameras;
}

std::vector<DeviceEntry> ListCameras() { return ListCamerasBelow("/dev"); }

}  // namespace Vimbrel

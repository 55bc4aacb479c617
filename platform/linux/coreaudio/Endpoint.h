// A sink or a source of the sound server as an endpoint.
#pragma once

#include <mmdeviceapi.h>

#include <memory>
#include <string>

#include "com/ComObject.h"
#include "platform/linux/pulse/PulseDevices.h"

namespace Vimbrel {

// Keeps its description and format as they were when it was listed, and its device by name: one
// that comes back under the same name is the same endpoint.
class Endpoint final : public ComObject<Implements<IMMDevice>, Implements<IMMEndpoint>> {
public:
    Endpoint(std::shared_ptr<PulseConnection> connection, PulseDevice device, EDataFlow flow)
        : connection_(std::move(connection)), device_(std::move(device)), flow_(flow) {}

    // IAudioClient of both flows, IAudioEndpointVolume of eRender.
    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD context, PROPVARIANT* parameters,
                                       void** object) override;
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD access, IPropertyStore** store) override;
    HRESULT STDMETHODCALLTYPE GetDataFlow(EDataFlow* flow) override;

private:
    const std::shared_ptr<PulseConnection> connection_;
    const PulseDevice device_;
    const EDataFlow flow_;
};

}  // namespace Vimbrel

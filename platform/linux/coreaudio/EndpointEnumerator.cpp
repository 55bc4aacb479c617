#include "platform/linux/coreaudio/EndpointEnumerator.h"

#include <audioclient.h>

#include <algorithm>
#include <new>
#include <vector>

#include "platform/linux/coreaudio/Endpoint.h"

namespace Vimbrel {

namespace {

class EndpointCollection final : public ComObject<Implements<IMMDeviceCollection>> {
public:
    explicit EndpointCollection(std::vector<ComPtr<IMMDevice>> endpoints)
        : endpoints_(std::move(endpoints)) {}

    HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = static_cast<UINT>(endpoints_.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice** device) override {
        if (!device) return E_POINTER;
        *device = nullptr;
        return index < endpoints_.size() ? endpoints_[index].CopyTo(device) : E_INVALIDARG;
    }

private:
    const std::vector<ComPtr<IMMDevice>> endpoints_;
};

ComPtr<IMMDevice> MakeEndpoint(const std::shared_ptr<PulseConnection>& connection,
                               const PulseDevice& device, EDataFlow flow) {
    ComPtr<IMMDevice> endpoint;
    endpoint.Attach(MakeCom<Endpoint>(connection, device, flow).Detach());
    return endpoint;
}

}  // namespace

HRESULT EndpointEnumerator::Read(std::shared_ptr<PulseConnection>& connection,
                                 PulseDevices& devices) {
    constexpr HRESULT no_answer = HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    const MutexLock lock(mutex_);
    if (std::chrono::steady_clock::now() < not_before_) return no_answer;
    HRESULT hr = connection_ ? devices.Read(*connection_) : AUDCLNT_E_SERVICE_NOT_RUNNING;
    if (hr == AUDCLNT_E_SERVICE_NOT_RUNNING) {
        hr = PulseConnection::Open(connection_);
        if (SUCCEEDED(hr)) hr = devices.Read(*connection_);
    }
    if (hr == no_answer)
        not_before_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    connection = connection_;
    return hr;
}

HRESULT EndpointEnumerator::EnumAudioEndpoints(EDataFlow flow, DWORD states,
                                               IMMDeviceCollection** devices) try {
    if (!devices) return E_POINTER;
    *devices = nullptr;
    if (flow < eRender || flow > eAll || states != DEVICE_STATE_ACTIVE) return E_INVALIDARG;
    std::shared_ptr<PulseConnection> connection;
    PulseDevices found;
    const HRESULT hr = Read(connection, found);
    if (FAILED(hr)) return hr;
    std::vector<ComPtr<IMMDevice>> endpoints;
    if (flow != eCapture) {
        for (const PulseDevice& sink : found.sinks)
            endpoints.push_back(MakeEndpoint(connection, sink, eRender));
    }
    if (flow != eRender) {
        for (const PulseDevice& source : found.sources)
            endpoints.push_back(MakeEndpoint(connection, source, eCapture));
    }
    *devices = MakeCom<EndpointCollection>(std::move(endpoints)).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT EndpointEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole role,
                                                    IMMDevice** device) try {
    if (!device) return E_POINTER;
    *device = nullptr;
    if ((flow != eRender && flow != eCapture) || role < eConsole || role > eCommunications)
        return E_INVALIDARG;
    std::shared_ptr<PulseConnection> connection;
    PulseDevices found;
    const HRESULT hr = Read(connection, found);
    if (FAILED(hr)) return hr;
    // The server has one default per direction, which serves every role.
    const std::string& name = flow == eRender ? found.default_sink : found.default_source;
    const std::vector<PulseDevice>& devices = flow == eRender ? found.sinks : found.sources;
    const auto chosen = std::find_if(devices.begin(), devices.end(),
                                     [&](const PulseDevice& each) { return each.name == name; });
    if (name.empty() || chosen == devices.end()) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    *device = MakeEndpoint(connection, *chosen, flow).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT CreateEndpointEnumerator(REFIID iid, void** object) {
    return CreateCom<EndpointEnumerator>(iid, object);
}

}  // namespace Vimbrel

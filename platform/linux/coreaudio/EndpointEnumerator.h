// The lists of sound endpoints.
#pragma once

#include <mmdeviceapi.h>

#include <chrono>
#include <memory>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"
#include "platform/linux/pulse/PulseDevices.h"

namespace Vimbrel {

// Connects to the server at the first request, and again when the connection is lost. Endpoints and
// what is made of them share the connection that they were listed by. Without a server the requests
// fail with AUDCLNT_E_SERVICE_NOT_RUNNING.
class EndpointEnumerator final : public ComObject<Implements<IMMDeviceEnumerator>> {
public:
    HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow flow, DWORD states,
                                                 IMMDeviceCollection** devices) override;
    HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role,
                                                      IMMDevice** device) override;

private:
    HRESULT Read(std::shared_ptr<PulseConnection>& connection, PulseDevices& devices);

    Mutex mutex_;
    std::shared_ptr<PulseConnection> connection_ GUARDED_BY(mutex_);
    // A server that does not answer is not asked before: a caller that falls back from one list to
    // another would wait for each.
    std::chrono::steady_clock::time_point not_before_ GUARDED_BY(mutex_){};
};

HRESULT CreateEndpointEnumerator(REFIID iid, void** object);

}  // namespace Vimbrel

// Volume and mute of a sink.
#pragma once

#include <endpointvolume.h>

#include <memory>
#include <string>

#include "com/ComObject.h"
#include "platform/linux/pulse/PulseConnection.h"

namespace Vimbrel {

// The level is the loudest channel's share of the full volume on the server's own scale; louder
// than full counts as full. Setting it keeps the balance of the channels.
class EndpointVolume final : public ComObject<Implements<IAudioEndpointVolume>> {
public:
    EndpointVolume(std::shared_ptr<PulseConnection> connection, std::string sink)
        : connection_(std::move(connection)), sink_(std::move(sink)) {}

    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(FLOAT level,
                                                         const GUID* event_context) override;
    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(FLOAT* level) override;
    HRESULT STDMETHODCALLTYPE SetMute(BOOL mute, const GUID* event_context) override;
    HRESULT STDMETHODCALLTYPE GetMute(BOOL* mute) override;

private:
    const std::shared_ptr<PulseConnection> connection_;
    const std::string sink_;
};

}  // namespace Vimbrel

// A shared-mode stream of an endpoint.
#pragma once

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <memory>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"
#include "platform/linux/pulse/PulseDevices.h"
#include "platform/linux/pulse/RecordStream.h"

namespace Vimbrel {

// Records: a sink by its monitor (with AUDCLNT_STREAMFLAGS_LOOPBACK), a source as it is. Rendering
// is refused with AUDCLNT_E_ENDPOINT_CREATE_FAILED, because a monitor delivers without it and a
// stream of silence would list the application among those that play.
class AudioClient final : public ComObject<Implements<IAudioClient>> {
public:
    AudioClient(std::shared_ptr<PulseConnection> connection, PulseDevice device, EDataFlow flow)
        : connection_(std::move(connection)), device_(std::move(device)), flow_(flow) {}

    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE mode, DWORD flags,
                                         REFERENCE_TIME buffer_duration, REFERENCE_TIME periodicity,
                                         const WAVEFORMATEX* format, const GUID* session) override;
    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32* frames) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32* frames) override;
    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** format) override;
    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME* default_period,
                                              REFERENCE_TIME* minimum_period) override;
    HRESULT STDMETHODCALLTYPE Start() override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE event) override;
    HRESULT STDMETHODCALLTYPE GetService(REFIID iid, void** service) override;

private:
    std::shared_ptr<RecordStream> Stream();

    const std::shared_ptr<PulseConnection> connection_;
    const PulseDevice device_;
    const EDataFlow flow_;

    Mutex mutex_;
    std::shared_ptr<RecordStream> stream_ GUARDED_BY(mutex_);  // null before Initialize
};

}  // namespace Vimbrel

#include "platform/linux/coreaudio/EndpointVolume.h"

#include <pulse/introspect.h>
#include <pulse/volume.h>

#include <algorithm>
#include <cmath>

namespace Vimbrel {

namespace {

struct SinkState {
    bool found = false;
    bool muted = false;
    pa_cvolume volume{};
};

void OnSink(pa_context*, const pa_sink_info* info, int end, void* data) {
    if (end != 0) return;
    *static_cast<SinkState*>(data) = {true, info->mute != 0, info->volume};
}

void OnSet(pa_context*, int success, void* succeeded) {
    *static_cast<bool*>(succeeded) = success != 0;
}

HRESULT Read(PulseConnection& connection, const std::string& sink, SinkState& state)
    REQUIRES(connection.Loop()) {
    HRESULT hr = connection.State();
    if (FAILED(hr)) return hr;
    hr = connection.Finish(
        pa_context_get_sink_info_by_name(connection.Context(), sink.c_str(), &OnSink, &state),
        "sink");
    if (SUCCEEDED(hr) && !state.found) hr = connection.LastError("sink");
    return hr;
}

// `request` starts the operation, whose callback is OnSet.
template <class Request>
HRESULT Set(PulseConnection& connection, const char* step, const Request& request)
    REQUIRES(connection.Loop()) {
    bool succeeded = false;
    const HRESULT hr = connection.Finish(request(connection.Context(), &succeeded), step);
    return SUCCEEDED(hr) && !succeeded ? connection.LastError(step) : hr;
}

}  // namespace

HRESULT EndpointVolume::SetMasterVolumeLevelScalar(FLOAT level, const GUID*) {
    if (!(level >= 0.0F && level <= 1.0F)) return E_INVALIDARG;
    const PulseLock lock(connection_->Loop());
    SinkState state;
    const HRESULT hr = Read(*connection_, sink_, state);
    if (FAILED(hr)) return hr;
    const auto volume = static_cast<pa_volume_t>(std::lround(level * double{PA_VOLUME_NORM}));
    if (pa_cvolume_max(&state.volume) == PA_VOLUME_MUTED) {
        pa_cvolume_set(&state.volume, state.volume.channels, volume);
    } else {
        pa_cvolume_scale(&state.volume, volume);
    }
    return Set(*connection_, "volume", [&](pa_context* context, bool* succeeded) {
        return pa_context_set_sink_volume_by_name(context, sink_.c_str(), &state.volume, &OnSet,
                                                  succeeded);
    });
}

HRESULT EndpointVolume::GetMasterVolumeLevelScalar(FLOAT* level) {
    if (!level) return E_POINTER;
    const PulseLock lock(connection_->Loop());
    SinkState state;
    const HRESULT hr = Read(*connection_, sink_, state);
    if (FAILED(hr)) return hr;
    const pa_volume_t loudest =
        std::min<pa_volume_t>(pa_cvolume_max(&state.volume), PA_VOLUME_NORM);
    *level = static_cast<FLOAT>(loudest / double{PA_VOLUME_NORM});
    return S_OK;
}

HRESULT EndpointVolume::SetMute(BOOL mute, const GUID*) {
    const PulseLock lock(connection_->Loop());
    SinkState state;
    const HRESULT hr = Read(*connection_, sink_, state);
    if (FAILED(hr)) return hr;
    if (state.muted == (mute != FALSE)) return S_FALSE;
    return Set(*connection_, "mute", [&](pa_context* context, bool* succeeded) {
        return pa_context_set_sink_mute_by_name(context, sink_.c_str(), mute != FALSE, &OnSet,
                                                succeeded);
    });
}

HRESULT EndpointVolume::GetMute(BOOL* mute) {
    if (!mute) return E_POINTER;
    const PulseLock lock(connection_->Loop());
    SinkState state;
    const HRESULT hr = Read(*connection_, sink_, state);
    if (SUCCEEDED(hr)) *mute = state.muted ? TRUE : FALSE;
    return hr;
}

}  // namespace Vimbrel

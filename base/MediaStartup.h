// Keeps the platform's media pipeline started.
#pragma once

#include <mfapi.h>

namespace Vimbrel {

// Starts are counted by the platform, so that an application may have its own beside it.
class MediaPlatform {
public:
    MediaPlatform() = default;
    ~MediaPlatform() {
        if (started) MFShutdown();
    }
    MediaPlatform(const MediaPlatform&) = delete;
    MediaPlatform& operator=(const MediaPlatform&) = delete;

    HRESULT Start() {
        if (started) return S_OK;
        const HRESULT hr = MFStartup(MF_VERSION, MFSTARTUP_LITE);
        started = SUCCEEDED(hr);
        return hr;
    }

private:
    bool started = false;
};

}  // namespace Vimbrel

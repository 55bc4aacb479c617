// What to transcode into.
#pragma once

#include <mfidl.h>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"

namespace Vimbrel {

class TranscodeProfile final : public ComObject<Implements<IMFTranscodeProfile>> {
public:
    HRESULT STDMETHODCALLTYPE SetAudioAttributes(IMFAttributes* attributes) override {
        return Set(audio_, attributes);
    }
    HRESULT STDMETHODCALLTYPE GetAudioAttributes(IMFAttributes** attributes) override {
        return Get(audio_, attributes);
    }
    HRESULT STDMETHODCALLTYPE SetVideoAttributes(IMFAttributes* attributes) override {
        return Set(video_, attributes);
    }
    HRESULT STDMETHODCALLTYPE GetVideoAttributes(IMFAttributes** attributes) override {
        return Get(video_, attributes);
    }
    HRESULT STDMETHODCALLTYPE SetContainerAttributes(IMFAttributes* attributes) override {
        return Set(container_, attributes);
    }
    HRESULT STDMETHODCALLTYPE GetContainerAttributes(IMFAttributes** attributes) override {
        return Get(container_, attributes);
    }

private:
    HRESULT Set(ComPtr<IMFAttributes>& target, IMFAttributes* attributes);
    HRESULT Get(const ComPtr<IMFAttributes>& source, IMFAttributes** attributes);

    Mutex lock_;
    ComPtr<IMFAttributes> audio_;
    ComPtr<IMFAttributes> video_;
    ComPtr<IMFAttributes> container_;
};

}  // namespace Vimbrel

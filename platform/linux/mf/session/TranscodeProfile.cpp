#include "platform/linux/mf/session/TranscodeProfile.h"

#include <mfapi.h>

namespace Vimbrel {

HRESULT TranscodeProfile::Set(ComPtr<IMFAttributes>& target, IMFAttributes* attributes) {
    ComPtr<IMFAttributes> copy;  // afterwards the old ones
    if (attributes) {
        HRESULT hr = MFCreateAttributes(copy.Put(), 0);
        if (SUCCEEDED(hr)) hr = attributes->CopyAllItems(copy.Get());
        if (FAILED(hr)) return hr;
    }
    const MutexLock guard(lock_);
    std::swap(target, copy);
    return S_OK;
}

HRESULT TranscodeProfile::Get(const ComPtr<IMFAttributes>& source, IMFAttributes** attributes) {
    const MutexLock guard(lock_);
    return source.CopyTo(attributes);
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateTranscodeProfile(IMFTranscodeProfile** profile) {
    if (!profile) return E_POINTER;
    return Vimbrel::CreateCom<Vimbrel::TranscodeProfile>(profile);
}

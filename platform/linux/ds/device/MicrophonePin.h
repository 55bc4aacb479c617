// The output of a microphone, and its level.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include "base/ThreadSafety.h"
#include "filters/Face.h"
#include "filters/OutputPin.h"

namespace Vimbrel {

class Microphone;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// 16-bit stereo in buffers of the suggested size. First at 44100 Hz, whatever the device has: the
// mix of two sources waits for a microphone that has no sound for it, but not for a part of a
// block. In the mixed format a buffer is a block, and parts never come.
class MicrophonePin final : public CBaseOutputPin, public IAMBufferNegotiation {
public:
    MicrophonePin(Microphone& filter, DWORD frames_per_second);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return CBaseOutputPin::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return CBaseOutputPin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CBaseOutputPin::Release(); }

    // VFW_E_ALREADY_CONNECTED for a connected pin.
    HRESULT STDMETHODCALLTYPE
    SuggestAllocatorProperties(const ALLOCATOR_PROPERTIES* properties) override;
    HRESULT STDMETHODCALLTYPE GetAllocatorProperties(ALLOCATOR_PROPERTIES* properties) override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override { return types_; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    HRESULT Active() override;
    void Inactive() override;

    // Of the connection.
    const WAVEFORMATEX& Format() const { return format_; }

protected:
    void* FindInterface(REFIID iid) override;

private:
    Microphone& microphone_;
    std::vector<CMediaType> types_;
    WAVEFORMATEX format_{};  // written while stopped
    ALLOCATOR_PROPERTIES suggested_;
};

// The level of the recording; the device's own would change for everybody. Balance and tone are not
// to be had: E_NOTIMPL. Any thread.
class MicrophoneLevel final : public Face<IAMAudioInputMixer> {
public:
    explicit MicrophoneLevel(Microphone& microphone);

    HRESULT STDMETHODCALLTYPE put_Enable(BOOL enable) override;
    HRESULT STDMETHODCALLTYPE get_Enable(BOOL* enable) override;
    HRESULT STDMETHODCALLTYPE put_Mono(BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Mono(BOOL*) override { return E_NOTIMPL; }
    // E_INVALIDARG outside 0 to 1.
    HRESULT STDMETHODCALLTYPE put_MixLevel(double level) override;
    HRESULT STDMETHODCALLTYPE get_MixLevel(double* level) override;
    HRESULT STDMETHODCALLTYPE put_Pan(double) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Pan(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Loudness(BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Loudness(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Treble(double) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Treble(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_TrebleRange(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Bass(double) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Bass(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_BassRange(double*) override { return E_NOTIMPL; }

    // What the recording is to have.
    double Effective();

private:
    Microphone& microphone_;
    Mutex lock_;
    double level_ GUARDED_BY(lock_) = 1.0;
    bool enabled_ GUARDED_BY(lock_) = true;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

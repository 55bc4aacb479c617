// A microphone that a test speaks into, in the lists of devices. On both systems.
#pragma once

#include <atomic>
#include <cstring>

#include "filters/BaseFilter.h"
#include "filters/Face.h"
#include "filters/OutputPin.h"
#include "tests/fakes/FakeDeviceLists.h"

namespace Vimbrel::test {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Notes the level and the switch.
class FakeInputMixer final : public Face<IAMAudioInputMixer> {
public:
    explicit FakeInputMixer(IUnknown& owner) : Face(owner) {}
    HRESULT STDMETHODCALLTYPE put_Enable(BOOL on) override { return enabled = on, S_OK; }
    HRESULT STDMETHODCALLTYPE get_Enable(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Mono(BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Mono(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_MixLevel(double value) override { return level = value, S_OK; }
    HRESULT STDMETHODCALLTYPE get_MixLevel(double*) override { return E_NOTIMPL; }
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

    BOOL enabled = FALSE;
    double level = -1;
};

class FakeMicrophonePin final : public CBaseOutputPin, public IAMBufferNegotiation {
public:
    FakeMicrophonePin(CBaseFilter& filter, const WAVEFORMATEX& format)
        : CBaseOutputPin(filter, L"Capture") {
        type.majortype = MEDIATYPE_Audio;
        type.subtype = MEDIASUBTYPE_PCM;
        type.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return CBaseOutputPin::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return CBaseOutputPin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CBaseOutputPin::Release(); }
    HRESULT STDMETHODCALLTYPE
    SuggestAllocatorProperties(const ALLOCATOR_PROPERTIES* properties) override {
        return suggested = *properties, S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAllocatorProperties(ALLOCATOR_PROPERTIES*) override {
        return E_NOTIMPL;
    }
    HRESULT CheckMediaType(const CMediaType* wanted) override {
        return *wanted == type ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    std::vector<CMediaType> OfferedTypes() override { return {type}; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override {
        properties->cBuffers = 4;
        properties->cbBuffer = 1 << 16;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(properties, &actual);
    }

    CMediaType type;
    ALLOCATOR_PROPERTIES suggested{};

protected:
    void* FindInterface(REFIID iid) override {
        return iid == __uuidof(IAMBufferNegotiation) ? static_cast<IAMBufferNegotiation*>(this)
                                                     : CBaseOutputPin::FindInterface(iid);
    }
};

class FakeMicrophone final : public CBaseFilter {
public:
    explicit FakeMicrophone(const WAVEFORMATEX& format)
        : CBaseFilter(GUID_NULL), pin(*this, format), mixer(static_cast<IBaseFilter&>(*this)) {
        ++alive;
    }
    ~FakeMicrophone() override { --alive; }
    int GetPinCount() override { return has_pin ? 1 : 0; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override {
        const HRESULT hr = CBaseFilter::GetState(milliseconds, state);
        return hr == S_OK && *state == State_Paused ? VFW_S_CANT_CUE : hr;
    }
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override {
        if (FAILED(run)) return run;
        pin.DeliverNewSegment(segment_start, INT64_MAX, 1.0);
        return CBaseFilter::Run(start);
    }

    // One packet, on the calling thread.
    template <class Sample>
    HRESULT Speak(const std::vector<Sample>& sound, REFERENCE_TIME start, REFERENCE_TIME end) {
        ComPtr<IMediaSample> sample;
        const HRESULT hr = pin.GetDeliveryBuffer(sample.Put());
        if (FAILED(hr)) return hr;
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        std::memcpy(data, sound.data(), sound.size() * sizeof(Sample));
        sample->SetActualDataLength(static_cast<LONG>(sound.size() * sizeof(Sample)));
        sample->SetTime(&start, &end);
        return pin.Deliver(sample.Get());
    }

    FakeMicrophonePin pin;
    FakeInputMixer mixer;
    HRESULT run = S_OK;
    bool has_pin = true;
    REFERENCE_TIME segment_start = 0;
    inline static std::atomic<int> alive{0};

protected:
    void* FindInterface(REFIID iid) override {
        return iid == __uuidof(IAMAudioInputMixer) ? static_cast<IAMAudioInputMixer*>(&mixer)
                                                   : CBaseFilter::FindInterface(iid);
    }
};
#pragma GCC diagnostic pop

// The devices of a test, with one microphone: "Microphone".
class FakeMicrophones : public FakeDeviceLists {
public:
    explicit FakeMicrophones(const WAVEFORMATEX& format) {
        inputs.push_back({L"Microphone", [this, format](REFIID iid, void** object) {
                              newest = MakeCom<FakeMicrophone>(format);
                              if (prepare) prepare(*newest.Get());
                              return newest->QueryInterface(iid, object);
                          }});
    }
    // The one that was opened last.
    ComPtr<FakeMicrophone> newest;
    std::function<void(FakeMicrophone& microphone)> prepare;
};

}  // namespace Vimbrel::test

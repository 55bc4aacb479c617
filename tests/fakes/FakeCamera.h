// Cameras for tests of what uses them, on both systems: a list of devices, their monikers and their
// filters.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/ObjectCreation.h"
#include "com/ComObject.h"
#include "filters/BaseFilter.h"
#include "filters/Enumerators.h"
#include "filters/Face.h"
#include "filters/OutputPin.h"
#include "tests/fakes/StubMoniker.h"

namespace Vimbrel::test {

// What a device is like, and what was done with it.
struct CameraSetup {
    std::wstring name = L"Camera";
    std::wstring path = L"usb-1";
    bool has_name = true;
    bool has_path = true;
    HRESULT bind_result = S_OK;
    HRESULT bag_result = S_OK;
    std::vector<CMediaType> capabilities;
    std::size_t current = 0;  // of them
    int capability_size = 128;
    bool has_config = true;
    bool has_properties = true;  // of the pins
    std::vector<GUID> pins = {PIN_CATEGORY_CAPTURE};
    std::vector<GUID> settable;            // property sets of the filter
    std::size_t refused = ~std::size_t{};  // the capability that SetFormat refuses

    int set_calls = 0;
    int filters = 0;  // that exist
    int connected_pin = -1;
    class FakeCameraFilter* last = nullptr;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class FakeCameraFilter;

class FakeCameraPin final : public CBaseOutputPin {
public:
    FakeCameraPin(FakeCameraFilter& filter, int index);

    HRESULT CheckMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    HRESULT CompleteConnect(IPin* pin) override;
    // A picture of one value, on the calling thread, which is the streaming thread then.
    HRESULT Send(BYTE value, REFERENCE_TIME start, REFERENCE_TIME end);

protected:
    void* FindInterface(REFIID iid) override;

private:
    class Config final : public Face<IAMStreamConfig> {
    public:
        explicit Config(FakeCameraPin& pin) : Face(static_cast<IPin&>(pin)), pin_(pin) {}
        HRESULT STDMETHODCALLTYPE SetFormat(AM_MEDIA_TYPE* type) override;
        HRESULT STDMETHODCALLTYPE GetFormat(AM_MEDIA_TYPE** type) override;
        HRESULT STDMETHODCALLTYPE GetNumberOfCapabilities(int* count, int* size) override;
        HRESULT STDMETHODCALLTYPE GetStreamCaps(int index, AM_MEDIA_TYPE** type,
                                                BYTE* capability) override;

    private:
        FakeCameraPin& pin_;
    };
    class Category final : public Face<IKsPropertySet> {
    public:
        explicit Category(FakeCameraPin& pin) : Face(static_cast<IPin&>(pin)), pin_(pin) {}
        HRESULT STDMETHODCALLTYPE Set(REFGUID, DWORD, void*, DWORD, void*, DWORD) override {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE Get(REFGUID set, DWORD id, void*, DWORD, void* data, DWORD size,
                                      DWORD* returned) override;
        HRESULT STDMETHODCALLTYPE QuerySupported(REFGUID, DWORD, DWORD*) override {
            return E_NOTIMPL;
        }

    private:
        FakeCameraPin& pin_;
    };

    CameraSetup& setup_;
    const int index_;
    Config config_;
    Category category_;
};

class FakeCameraFilter final : public CBaseFilter {
public:
    explicit FakeCameraFilter(std::shared_ptr<CameraSetup> setup);

    // Nothing comes in Pause, as from every camera.
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override {
        const HRESULT hr = CBaseFilter::GetState(milliseconds, state);
        return *state == State_Paused ? VFW_S_CANT_CUE : hr;
    }
    int GetPinCount() override { return static_cast<int>(pins_.size()); }
    CBasePin* GetPin(int index) override { return pins_[static_cast<std::size_t>(index)].get(); }
    FakeCameraPin& Pin(int index = 0) { return *pins_[static_cast<std::size_t>(index)]; }
    CameraSetup& Setup() { return *setup_; }

protected:
    ~FakeCameraFilter() override;
    void* FindInterface(REFIID iid) override;

private:
    class Properties final : public Face<IKsPropertySet> {
    public:
        explicit Properties(FakeCameraFilter& filter)
            : Face(static_cast<IBaseFilter&>(filter)), filter_(filter) {}
        HRESULT STDMETHODCALLTYPE Set(REFGUID, DWORD, void*, DWORD, void*, DWORD) override {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE Get(REFGUID, DWORD, void*, DWORD, void*, DWORD, DWORD*) override {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE QuerySupported(REFGUID set, DWORD id, DWORD* support) override;

    private:
        FakeCameraFilter& filter_;
    };

    const std::shared_ptr<CameraSetup> setup_;
    Properties properties_;
    std::vector<std::unique_ptr<FakeCameraPin>> pins_;
};

class FakeCameraMoniker final : public StubMoniker<Implements<IPropertyBag>> {
public:
    explicit FakeCameraMoniker(std::shared_ptr<CameraSetup> setup) : setup_(std::move(setup)) {
        ++alive;
    }
    ~FakeCameraMoniker() override { --alive; }

    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx*, IMoniker*, REFIID iid,
                                           void** object) override;
    HRESULT STDMETHODCALLTYPE BindToStorage(IBindCtx*, IMoniker*, REFIID iid,
                                            void** storage) override;
    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override;

    HRESULT STDMETHODCALLTYPE Write(LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }

    inline static std::atomic<int> alive{0};

private:
    const std::shared_ptr<CameraSetup> setup_;
};
#pragma GCC diagnostic pop

using CameraSetups = std::vector<std::shared_ptr<CameraSetup>>;

// While it lives, the system has these cameras and no other.
class FakeCameras {
public:
    explicit FakeCameras(CameraSetups setups);

private:
    ScopedClassOverride override_;
};

}  // namespace Vimbrel::test

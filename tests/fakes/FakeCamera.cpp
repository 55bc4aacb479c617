#include "tests/fakes/FakeCamera.h"

#include <algorithm>
#include <cstring>

namespace Vimbrel::test {

namespace {

class FakeDeviceList final : public ComObject<Implements<ICreateDevEnum>> {
public:
    explicit FakeDeviceList(CameraSetups setups) : setups_(std::move(setups)) {}

    HRESULT STDMETHODCALLTYPE CreateClassEnumerator(REFCLSID category, IEnumMoniker** enumerator,
                                                    DWORD) override {
        *enumerator = nullptr;
        if (category != CLSID_VideoInputDeviceCategory || setups_.empty()) return S_FALSE;
        ObjectEnumerator<IEnumMoniker, IMoniker>::Objects monikers;
        for (const auto& each : setups_)
            monikers.emplace_back(MakeCom<FakeCameraMoniker>(each).Get());
        *enumerator =
            MakeCom<ObjectEnumerator<IEnumMoniker, IMoniker>>(std::move(monikers)).Detach();
        return S_OK;
    }

private:
    const CameraSetups setups_;
};

}  // namespace

FakeCameraPin::FakeCameraPin(FakeCameraFilter& filter, int index)
    : CBaseOutputPin(filter, L"Out " + std::to_wstring(index)),
      setup_(filter.Setup()),
      index_(index),
      config_(*this),
      category_(*this) {}

HRESULT FakeCameraPin::CheckMediaType(const CMediaType* type) {
    return !setup_.capabilities.empty() && *type == setup_.capabilities[setup_.current]
               ? S_OK
               : VFW_E_TYPE_NOT_ACCEPTED;
}

std::vector<CMediaType> FakeCameraPin::OfferedTypes() {
    if (setup_.capabilities.empty()) return {};
    return {setup_.capabilities[setup_.current]};
}

HRESULT FakeCameraPin::DecideBufferSize(IMemAllocator* allocator,
                                        ALLOCATOR_PROPERTIES* properties) {
    properties->cBuffers = 2;
    properties->cbBuffer = static_cast<LONG>(ConnectionType().lSampleSize);
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(properties, &actual);
}

HRESULT FakeCameraPin::CompleteConnect(IPin* pin) {
    setup_.connected_pin = index_;
    return CBaseOutputPin::CompleteConnect(pin);
}

HRESULT FakeCameraPin::Send(BYTE value, REFERENCE_TIME start, REFERENCE_TIME end) {
    ComPtr<IMediaSample> sample;
    const HRESULT hr = GetDeliveryBuffer(sample.Put());
    if (FAILED(hr)) return hr;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::memset(data, value, static_cast<std::size_t>(sample->GetSize()));
    sample->SetTime(&start, &end);
    return Deliver(sample.Get());
}

void* FakeCameraPin::FindInterface(REFIID iid) {
    if (iid == __uuidof(IAMStreamConfig) && setup_.has_config) return &config_;
    if (iid == __uuidof(IKsPropertySet) && setup_.has_properties) return &category_;
    return CBaseOutputPin::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE FakeCameraPin::Config::SetFormat(AM_MEDIA_TYPE* type) {
    CameraSetup& setup = pin_.setup_;
    ++setup.set_calls;
    const CMediaType wanted(*type);
    const auto found = std::find(setup.capabilities.begin(), setup.capabilities.end(), wanted);
    if (found == setup.capabilities.end()) return E_INVALIDARG;
    const auto index = static_cast<std::size_t>(found - setup.capabilities.begin());
    if (index == setup.refused) return E_FAIL;
    setup.current = index;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCameraPin::Config::GetFormat(AM_MEDIA_TYPE** type) {
    *type = CreateMediaType(pin_.setup_.capabilities[pin_.setup_.current]);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCameraPin::Config::GetNumberOfCapabilities(int* count, int* size) {
    *count = static_cast<int>(pin_.setup_.capabilities.size());
    *size = pin_.setup_.capability_size;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCameraPin::Config::GetStreamCaps(int index, AM_MEDIA_TYPE** type,
                                                               BYTE* capability) {
    std::memset(capability, 0, static_cast<std::size_t>(pin_.setup_.capability_size));
    *type = CreateMediaType(pin_.setup_.capabilities[static_cast<std::size_t>(index)]);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCameraPin::Category::Get(REFGUID set, DWORD id, void*, DWORD,
                                                       void* data, DWORD size, DWORD* returned) {
    if (set != AMPROPSETID_Pin || id != AMPROPERTY_PIN_CATEGORY || size < sizeof(GUID))
        return E_INVALIDARG;
    std::memcpy(data, &pin_.setup_.pins[static_cast<std::size_t>(pin_.index_)], sizeof(GUID));
    *returned = sizeof(GUID);
    return S_OK;
}

FakeCameraFilter::FakeCameraFilter(std::shared_ptr<CameraSetup> setup)
    : CBaseFilter(GUID_NULL), setup_(std::move(setup)), properties_(*this) {
    for (std::size_t i = 0; i < setup_->pins.size(); ++i)
        pins_.push_back(std::make_unique<FakeCameraPin>(*this, static_cast<int>(i)));
    ++setup_->filters;
    setup_->last = this;
}

FakeCameraFilter::~FakeCameraFilter() {
    --setup_->filters;
    if (setup_->last == this) setup_->last = nullptr;
}

void* FakeCameraFilter::FindInterface(REFIID iid) {
    if (iid == __uuidof(IKsPropertySet) && !setup_->settable.empty()) return &properties_;
    return CBaseFilter::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE FakeCameraFilter::Properties::QuerySupported(REFGUID set, DWORD id,
                                                                       DWORD* support) {
    const std::vector<GUID>& sets = filter_.setup_->settable;
    if (id != 0 || std::find(sets.begin(), sets.end(), set) == sets.end()) return E_NOTIMPL;
    *support = KSPROPERTY_SUPPORT_GET | KSPROPERTY_SUPPORT_SET;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCameraMoniker::BindToObject(IBindCtx*, IMoniker*, REFIID iid,
                                                          void** object) {
    *object = nullptr;
    if (FAILED(setup_->bind_result)) return setup_->bind_result;
    auto* const filter = new FakeCameraFilter(setup_);
    const HRESULT hr = filter->QueryInterface(iid, object);
    filter->Release();
    return hr;
}

HRESULT STDMETHODCALLTYPE FakeCameraMoniker::BindToStorage(IBindCtx*, IMoniker*, REFIID iid,
                                                           void** storage) {
    *storage = nullptr;
    return FAILED(setup_->bag_result) ? setup_->bag_result : QueryInterface(iid, storage);
}

HRESULT STDMETHODCALLTYPE FakeCameraMoniker::Read(LPCOLESTR name, VARIANT* value, IErrorLog*) {
    const bool path = std::wstring(name) == L"DevicePath";
    if (path ? !setup_->has_path : !setup_->has_name) return E_INVALIDARG;
    value->vt = VT_BSTR;
    value->bstrVal = SysAllocString((path ? setup_->path : setup_->name).c_str());
    return S_OK;
}

FakeCameras::FakeCameras(CameraSetups setups)
    : override_(CLSID_SystemDeviceEnum, [setups](REFIID iid, void** object) {
          return MakeCom<FakeDeviceList>(setups)->QueryInterface(iid, object);
      }) {}

}  // namespace Vimbrel::test

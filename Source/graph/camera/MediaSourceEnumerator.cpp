#include "vimbrel/MediaSourceEnumerator.h"

#include <algorithm>

#include "Source/graph/camera/CameraFormats.h"
#include "base/ObjectCreation.h"
#include "filters/GraphWalk.h"

namespace Vimbrel {

namespace {

// Empty if the bag does not have it.
std::wstring ReadText(IPropertyBag& bag, const wchar_t* name) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = nullptr;
    std::wstring text;
    if (SUCCEEDED(bag.Read(name, &value, nullptr)) && value.vt == VT_BSTR && value.bstrVal)
        text = value.bstrVal;
    VariantClear(&value);
    return text;
}

template <class Interface>
ComPtr<Interface> Bind(IMoniker& moniker,
                       HRESULT (STDMETHODCALLTYPE IMoniker::*bind)(IBindCtx*, IMoniker*, REFIID,
                                                                   void**)) {
    ComPtr<Interface> object;
    void* found = nullptr;
    if (SUCCEEDED((moniker.*bind)(nullptr, nullptr, __uuidof(Interface), &found)))
        object.Attach(static_cast<Interface*>(found));
    return object;
}

MediaSourceCamera* FindDevice(const std::vector<std::unique_ptr<MediaSourceCamera>>& devices,
                              const std::wstring& (MediaSourceCamera::*get)() const,
                              const wchar_t* text) {
    if (!text) return nullptr;
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const auto& each) { return (*each.*get)() == text; });
    return found == devices.end() ? nullptr : found->get();
}

}  // namespace

MediaSourceEnumerator* MediaSourceEnumerator::GetInstance() {
    static MediaSourceEnumerator instance;
    return &instance;
}

void MediaSourceEnumerator::AddExcludeDevicePropertyGuid(const GUID& guid) {
    if (std::find(excludeGuids.begin(), excludeGuids.end(), guid) == excludeGuids.end())
        excludeGuids.push_back(guid);
}

// Kept: the list is not emptied, because hosts that enumerate once hold pointers into it.
void MediaSourceEnumerator::EnumerateVideoDS() {
    reserved = 0;
    ComPtr<ICreateDevEnum> devices;
    if (FAILED(CreateObject(CLSID_SystemDeviceEnum, devices))) return;
    ComPtr<IEnumMoniker> monikers;
    devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.Put(), 0);
    if (!monikers) return;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.Put(), nullptr) == S_OK) {
        auto camera = std::make_unique<MediaSourceCamera>();
        const auto bag = Bind<IPropertyBag>(*moniker.Get(), &IMoniker::BindToStorage);
        if (!bag) continue;
        camera->SetFriendlyName(ReadText(*bag.Get(), L"FriendlyName").c_str());
        camera->SetDevicePath(ReadText(*bag.Get(), L"DevicePath").c_str());
        camera->SetMoniker(moniker.Detach());
        if (CheckDevice(camera.get())) videoDevices.push_back(std::move(camera));
    }
}

bool MediaSourceEnumerator::IsExcluded(IUnknown& filter) const {
    const auto properties = QueryOutside<IKsPropertySet>(filter, __uuidof(IKsPropertySet));
    if (!properties) return false;
    return std::any_of(excludeGuids.begin(), excludeGuids.end(), [&](const GUID& guid) {
        DWORD support = 0;
        return SUCCEEDED(properties->QuerySupported(guid, 0, &support)) &&
               (support & KSPROPERTY_SUPPORT_SET) != 0;
    });
}

bool MediaSourceEnumerator::CheckDevice(MediaSourceCamera* camera) {
    const auto filter = Bind<IBaseFilter>(*camera->GetMoniker(), &IMoniker::BindToObject);
    if (!filter || IsExcluded(*filter.Get())) return false;
    const ComPtr<IPin> pin = FindCapturePin(*filter.Get());
    const auto config = pin.As<IAMStreamConfig>();
    if (!config) return true;
    const std::vector<CMediaType> types = CapabilitiesOf(*config.Get());
    if (types.empty()) return true;
    AM_MEDIA_TYPE* current = nullptr;
    config->GetFormat(&current);
    std::vector<MediaSourceCamera::Format>& formats = camera->GetOutputFormats();
    for (const CMediaType& type : types) {
        // Kept: the place that the format would take, also when it is left out then.
        if (current && IsSamePictureType(type, *current))
            camera->SetOutputFormat(static_cast<int>(formats.size()));
        AddFormat(formats, type);
    }
    DeleteMediaType(current);
    return true;
}

MediaSourceCamera* MediaSourceEnumerator::GetVideoDeviceByName(const wchar_t* name) {
    return FindDevice(videoDevices, &MediaSourceCamera::GetFriendlyName, name);
}

MediaSourceCamera* MediaSourceEnumerator::GetVideoDeviceById(const wchar_t* path) {
    return FindDevice(videoDevices, &MediaSourceCamera::GetDevicePath, path);
}

}  // namespace Vimbrel

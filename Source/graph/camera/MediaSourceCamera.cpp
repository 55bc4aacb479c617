#include "vimbrel/MediaSourceCamera.h"

#include <windows.h>

#include <ocidl.h>
#include <olectl.h>

#include "Source/graph/MediaSourceDSImpl.h"
#include "Source/graph/camera/DeviceGraph.h"
#include "base/SetText.h"

namespace Vimbrel {

namespace {

// The device's filter, and its pages, which the caller frees. Null without pages.
ComPtr<ISpecifyPropertyPages> PagesOf(IMoniker* moniker, CAUUID& list) {
    ComPtr<IBaseFilter> filter;
    void* found = nullptr;
    if (!moniker || FAILED(moniker->BindToObject(nullptr, nullptr, __uuidof(IBaseFilter), &found)))
        return {};
    filter.Attach(static_cast<IBaseFilter*>(found));
    auto pages = filter.As<ISpecifyPropertyPages>();
    if (!pages || FAILED(pages->GetPages(&list))) return {};
    if (list.cElems > 0) return pages;
    CoTaskMemFree(list.pElems);
    return {};
}

}  // namespace

MediaSourceCamera::MediaSourceCamera() { impl = new MediaSourceDSImpl(BuildDeviceGraph); }

MediaSourceCamera::~MediaSourceCamera() {
    impl->Close();
    if (moniker) moniker->Release();
}

MediaSourceCamera* MediaSourceCamera::CreateDevice() {
    auto* const camera = new MediaSourceCamera;
    if (moniker) moniker->AddRef();
    camera->moniker = moniker;
    camera->friendlyName = friendlyName;
    camera->devicePath = devicePath;
    camera->outputFormats = outputFormats;
    camera->outputFormat = outputFormat;
    return camera;
}

void MediaSourceCamera::SetFriendlyName(const wchar_t* name) { SetText(friendlyName, name); }
void MediaSourceCamera::SetDevicePath(const wchar_t* path) { SetText(devicePath, path); }

bool MediaSourceCamera::HasPropertyPages() {
    CAUUID list{};
    const bool some = static_cast<bool>(PagesOf(moniker, list));
    if (some) CoTaskMemFree(list.pElems);
    return some;
}

void MediaSourceCamera::ShowPropertyPages(HWND parent) {
    CAUUID list{};
    const auto pages = PagesOf(moniker, list);
    if (!pages) return;
    IUnknown* object = pages.Get();
    OleCreatePropertyFrame(parent, 0, 0, friendlyName.c_str(), 1, &object, list.cElems, list.pElems,
                           0, 0, nullptr);
    CoTaskMemFree(list.pElems);
}

bool MediaSourceCamera::Open() { return MediaSourceDSImpl::OpenSource(*this); }

void MediaSourceCamera::Close() {
    impl->Close();
    if (moniker) moniker->Release();
    moniker = nullptr;
    SetState(State::Closed);
}

bool MediaSourceCamera::Play() { return MediaSourceDSImpl::PlaySource(*this); }
bool MediaSourceCamera::Pause() { return MediaSourceDSImpl::PauseSource(*this); }
void MediaSourceCamera::Stop() { MediaSourceDSImpl::StopSource(*this); }

}  // namespace Vimbrel

#include "Source/graph/FilterLoader.h"

#include "base/Failure.h"
#include "base/ObjectCreation.h"
#include "filters/GraphWalk.h"
#include "filters/OutsideInterfaces.h"

namespace Vimbrel {

namespace {

// Longer paths are cut, as the names of the program's own filters always fit.
constexpr std::size_t path_capacity = 1024;

using GetClassObject = HRESULT(STDMETHODCALLTYPE*)(REFCLSID clsid, REFIID iid, void** object);

void SetUpVideoDecoder(IBaseFilter& decoder) {
    const auto settings = QueryOutside<IVideoDecoderSettings>(decoder, iid_video_decoder_settings);
    if (!settings) return;
    settings->EnableOutputFormat(output_rgb32, TRUE);
    settings->EnableOutputFormat(output_rgb24, TRUE);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE,
                  "Video decoder hw_accel: " << settings->GetHardwareAcceleration());
    settings->SetTrayIcon(IsControlKeyHeld() ? TRUE : FALSE);
}

}  // namespace

std::wstring PathBesideProgram(const wchar_t* name) {
    wchar_t program[path_capacity] = {};
    GetModuleFileNameW(nullptr, program, static_cast<DWORD>(path_capacity));
    std::wstring path = program;
    const std::size_t file = path.find_last_of(L"\\/");
    path.resize(file == std::wstring::npos ? 0 : file + 1);
    path += name;
    if (path.size() >= path_capacity) path.resize(path_capacity - 1);
    return path;
}

HRESULT LoadFilterFromFile(const std::wstring& path, REFCLSID clsid, ComPtr<IBaseFilter>& filter) {
    filter.Reset();
    auto* const library = LoadLibraryW(path.c_str());
    if (!library) return E_FAIL;
    const auto get_class = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
    if (!get_class) return E_FAIL;
    void* found = nullptr;
    HRESULT hr = get_class(clsid, __uuidof(IClassFactory), &found);
    if (FAILED(hr)) return hr;
    if (!found) return E_FAIL;
    ComPtr<IClassFactory> factory;
    factory.Attach(static_cast<IClassFactory*>(found));
    found = nullptr;
    hr = factory->CreateInstance(nullptr, __uuidof(IBaseFilter), &found);
    if (SUCCEEDED(hr)) filter.Attach(static_cast<IBaseFilter*>(found));
    return hr;
}

ComPtr<IBaseFilter> CreateVideoDecoder(const std::wstring& path) {
    ComPtr<IBaseFilter> decoder;
    if (FAILED(LoadFilterFromFile(path, class_video_decoder, decoder))) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN, "Add internal video decoder failed");
        LogIfFailed(CreateObject(class_video_decoder, decoder), "Create video decoder");
    }
    if (decoder) SetUpVideoDecoder(*decoder.Get());
    return decoder;
}

bool IsControlKeyHeld() { return GetKeyState(VK_CONTROL) < 0; }

}  // namespace Vimbrel

#include "tests/fakes/FakeImaging.h"

#include <chrono>

#include "com/ComObject.h"
#include "com/Utf8.h"

namespace Vimbrel::test {

HRESULT ImagingJournal::Note(const std::string& operation, const std::string& details) {
    std::unique_lock guard(lock);
    entries.emplace_back(operation, details);
    ++counts[operation];
    changed.notify_all();
    changed.wait(guard, [&] { return held != operation; });
    auto& [result, times] = failures[operation];
    return times > 0 ? (--times, result) : S_OK;
}

void ImagingJournal::FailNext(const std::string& operation, HRESULT result, int times) {
    const std::lock_guard guard(lock);
    failures[operation] = {result, times};
}

void ImagingJournal::Hold(const std::string& operation) {
    const std::lock_guard guard(lock);
    held = operation;
}

void ImagingJournal::Resume() {
    const std::lock_guard guard(lock);
    held.clear();
    changed.notify_all();
}

bool ImagingJournal::WaitFor(const std::string& operation, int count) {
    std::unique_lock guard(lock);
    return changed.wait_for(guard, std::chrono::seconds(20),
                            [&] { return counts[operation] >= count; });
}

std::vector<std::string> ImagingJournal::Entries() const {
    const std::lock_guard guard(lock);
    std::vector<std::string> lines;
    for (const auto& [operation, details] : entries)
        lines.push_back(operation + (details.empty() ? "" : " ") + details);
    return lines;
}

std::vector<std::string> ImagingJournal::DetailsOf(const std::string& operation) const {
    const std::lock_guard guard(lock);
    std::vector<std::string> found;
    for (const auto& [name, details] : entries) {
        if (name == operation) found.push_back(details);
    }
    return found;
}

namespace {

ImagingJournal* active_journal = nullptr;
ImagingJournal& Journal() { return *active_journal; }

std::string Size(UINT width, UINT height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string ValueText(const PROPVARIANT& value) {
    if (value.vt == VT_UI1) return "UI1 " + std::to_string(value.bVal);
    if (value.vt == VT_UI2) return "UI2 " + std::to_string(value.uiVal);
    if (value.vt == VT_BOOL) return "BOOL " + std::to_string(value.boolVal != 0);
    if (value.vt == VT_LPSTR) return "LPSTR " + std::string(value.pszVal);
    if (value.vt != (VT_VECTOR | VT_UI1)) return "type " + std::to_string(value.vt);
    std::string text = "UI1[]";
    for (ULONG i = 0; i < value.caub.cElems; ++i)
        text += " " + std::to_string(value.caub.pElems[i]);
    return text;
}

template <class Object, class Interface, class... Arguments>
HRESULT Make(const std::string& operation, const std::string& details, Interface** object,
             Arguments... arguments) {
    *object = nullptr;
    const HRESULT hr = Journal().Note(operation, details);
    if (FAILED(hr)) return hr;
    *object = MakeCom<Object>(arguments...).Detach();
    return S_OK;
}

// A picture of no pixels: the recorder only passes it on.
template <class Interface, class... Bases>
class Picture : public ComObject<Implements<Interface, IWICBitmapSource, Bases...>> {
public:
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override {
        return *width = *height = 1, S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        return *format = GUID_NULL, S_OK;
    }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        return palette ? E_UNEXPECTED : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect*, UINT, UINT, BYTE*) override {
        return E_UNEXPECTED;
    }
};

class Bitmap final : public Picture<IWICBitmap> {};

class Scaler final : public Picture<IWICBitmapScaler> {
public:
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource*, UINT width, UINT height,
                                         WICBitmapInterpolationMode mode) override {
        return Journal().Note("Scaler.Initialize",
                              Size(width, height) + " mode " + std::to_string(mode));
    }
};

class Converter final : public Picture<IWICFormatConverter> {
public:
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource*, REFWICPixelFormatGUID target,
                                         WICBitmapDitherType dither, IWICPalette*, double threshold,
                                         WICBitmapPaletteType type) override {
        return Journal().Note(
            "Converter.Initialize",
            std::string(target == GUID_WICPixelFormat8bppIndexed ? "indexed" : "other") +
                " dither " + std::to_string(dither) + " threshold " +
                std::to_string(static_cast<int>(threshold)) + " type " + std::to_string(type));
    }
};

class Palette final : public ComObject<Implements<IWICPalette>> {
public:
    HRESULT STDMETHODCALLTYPE InitializeCustom(WICColor*, UINT) override { return E_UNEXPECTED; }
    HRESULT STDMETHODCALLTYPE InitializeFromBitmap(IWICBitmapSource*, UINT count,
                                                   BOOL add_transparent) override {
        transparent = add_transparent;
        return Journal().Note(
            "Palette.Initialize",
            std::to_string(count) + (add_transparent ? " transparent" : " opaque"));
    }
    HRESULT STDMETHODCALLTYPE GetColorCount(UINT*) override { return E_UNEXPECTED; }
    HRESULT STDMETHODCALLTYPE GetColors(UINT, WICColor*, UINT*) override { return E_UNEXPECTED; }
    HRESULT STDMETHODCALLTYPE HasAlpha(BOOL* has_alpha) override {
        return *has_alpha = transparent, S_OK;
    }

private:
    BOOL transparent = FALSE;
};

class Writer final
    : public ComObject<Implements<IWICMetadataQueryWriter, IWICMetadataQueryReader>> {
public:
    HRESULT STDMETHODCALLTYPE GetMetadataByName(LPCWSTR, PROPVARIANT*) override {
        return E_UNEXPECTED;
    }
    HRESULT STDMETHODCALLTYPE SetMetadataByName(LPCWSTR path, const PROPVARIANT* value) override {
        return Journal().Note("SetMetadata", ToUtf8(path) + " " + ValueText(*value));
    }
};

class FrameEncode final : public ComObject<Implements<IWICBitmapFrameEncode>> {
public:
    HRESULT STDMETHODCALLTYPE Initialize(IPropertyBag2*) override {
        return Journal().Note("Frame.Initialize");
    }
    HRESULT STDMETHODCALLTYPE WriteSource(IWICBitmapSource*, WICRect*) override {
        return Journal().Note("Frame.WriteSource");
    }
    HRESULT STDMETHODCALLTYPE Commit() override { return Journal().Note("Frame.Commit"); }
    HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) override {
        return Make<Writer>("Frame.GetMetadataQueryWriter", "", writer);
    }
};

class Encoder final : public ComObject<Implements<IWICBitmapEncoder>> {
public:
    ~Encoder() override { Journal().Note("Encoder.Release"); }
    HRESULT STDMETHODCALLTYPE Initialize(IStream*, WICBitmapEncoderCacheOption cache) override {
        return Journal().Note("Encoder.Initialize", std::to_string(cache));
    }
    HRESULT STDMETHODCALLTYPE CreateNewFrame(IWICBitmapFrameEncode** frame,
                                             IPropertyBag2**) override {
        return Make<FrameEncode>("CreateNewFrame", "", frame);
    }
    HRESULT STDMETHODCALLTYPE Commit() override { return Journal().Note("Encoder.Commit"); }
    HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) override {
        return Make<Writer>("GetMetadataQueryWriter", "", writer);
    }
};

class Stream final : public ComObject<Implements<IWICStream, IStream, ISequentialStream>> {
public:
    ~Stream() override { Journal().Note("Stream.Release"); }
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_UNEXPECTED; }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return E_UNEXPECTED; }
    HRESULT STDMETHODCALLTYPE InitializeFromFilename(LPCWSTR name, DWORD access) override {
        return Journal().Note("InitializeFromFilename",
                              ToUtf8(name) + (access == GENERIC_WRITE ? " write" : " other"));
    }
};

class Factory final : public ComObject<Implements<IWICImagingFactory2, IWICImagingFactory>> {
public:
    ~Factory() override { Journal().Note("Factory.Release"); }
    HRESULT STDMETHODCALLTYPE CreateDecoderFromFilename(LPCWSTR, const GUID*, DWORD,
                                                        WICDecodeOptions,
                                                        IWICBitmapDecoder**) override {
        return E_UNEXPECTED;
    }
    HRESULT STDMETHODCALLTYPE CreateEncoder(REFGUID container, const GUID* vendor,
                                            IWICBitmapEncoder** encoder) override {
        const bool told =
            container == GUID_ContainerFormatGif && vendor && *vendor == GUID_VendorMicrosoft;
        return Make<Encoder>("CreateEncoder", told ? "gif" : "other", encoder);
    }
    HRESULT STDMETHODCALLTYPE CreatePalette(IWICPalette** palette) override {
        return Make<Palette>("CreatePalette", "", palette);
    }
    HRESULT STDMETHODCALLTYPE CreateFormatConverter(IWICFormatConverter** converter) override {
        return Make<Converter>("CreateFormatConverter", "", converter);
    }
    HRESULT STDMETHODCALLTYPE CreateBitmapScaler(IWICBitmapScaler** scaler) override {
        return Make<Scaler>("CreateBitmapScaler", "", scaler);
    }
    HRESULT STDMETHODCALLTYPE CreateStream(IWICStream** stream) override {
        return Make<Stream>("CreateStream", "", stream);
    }
    HRESULT STDMETHODCALLTYPE CreateBitmapFromMemory(UINT width, UINT height, REFWICPixelFormatGUID,
                                                     UINT stride, UINT size, BYTE* pixels,
                                                     IWICBitmap** bitmap) override {
        return Make<Bitmap>("CreateBitmap",
                            Size(width, height) + " stride " + std::to_string(stride) + " size " +
                                std::to_string(size) + " first " + std::to_string(pixels[0]),
                            bitmap);
    }
};

HRESULT CreateFake(REFIID iid, void** object) {
    *object = nullptr;
    const HRESULT hr = Journal().Note("CoCreateInstance");
    return FAILED(hr) ? hr : MakeCom<Factory>()->QueryInterface(iid, object);
}

}  // namespace

ScopedFakeImaging::ScopedFakeImaging() : class_override(CLSID_WICImagingFactory2, CreateFake) {
    active_journal = &journal;
}
ScopedFakeImaging::~ScopedFakeImaging() { active_journal = nullptr; }

}  // namespace Vimbrel::test

#include "platform/linux/mf/transform/EncoderList.h"

#include <mfapi.h>
#include <mftransform.h>
#include <objbase.h>

#include <cstdlib>
#include <new>
#include <utility>

#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/mf/objects/AttributesObject.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"

namespace Vimbrel {
namespace {

class EncoderActivate final : public AttributesObject<Implements<IMFActivate, IMFAttributes>> {
public:
    explicit EncoderActivate(ListedEncoder encoder) : encoder_(std::move(encoder)) {
        // Without its flags an asynchronous encoder would pass for a synchronous one.
        if (FAILED(SetUINT32(MF_TRANSFORM_FLAGS_Attribute, encoder_.flags)) ||
            FAILED(SetString(MFT_FRIENDLY_NAME_Attribute, encoder_.name.c_str())))
            throw std::bad_alloc();
    }

    HRESULT STDMETHODCALLTYPE ActivateObject(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (!made_) {
            void* made = nullptr;
            if (const HRESULT hr = encoder_.create(__uuidof(IUnknown), &made); FAILED(hr))
                return hr;
            made_.Attach(static_cast<IUnknown*>(made));
        }
        return made_->QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE ShutdownObject() override {
        made_.Reset();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DetachObject() override { return ShutdownObject(); }

private:
    const ListedEncoder encoder_;
    ComPtr<IUnknown> made_;
};

std::wstring Wide(const char* text) { return {text, text + std::char_traits<char>::length(text)}; }

// Lists the encoders whose devices exist. Whether one works shows when its types are set. All are
// synchronous: libavcodec takes a frame and returns a packet, so a thread around that would only
// add a frame of delay.
std::vector<ListedEncoder> Hardware() {
    if (const auto* replaced = ScopedHardwareEncoders::Current()) return *replaced;
    std::vector<ListedEncoder> found;
    for (const HardwareEncoder& encoder : HardwareEncoders()) {
        if (FindDevice(encoder).empty()) continue;
        found.push_back({Wide(encoder.codec), MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SYNCMFT,
                         [&encoder](REFIID iid, void** object) {
                             return CreateCom<H264EncoderTransform>(iid, object, &encoder);
                         }});
    }
    return found;
}

std::vector<ListedEncoder> Software() {
    return {{L"libx264", MFT_ENUM_FLAG_SYNCMFT, CreateSoftwareH264Encoder}};
}

bool Lists(const MFT_REGISTER_TYPE_INFO* type, const GUID& subtype) {
    return !type || (type->guidMajorType == MFMediaType_Video && type->guidSubtype == subtype);
}

}  // namespace

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFTEnumEx(GUID category, UINT32 flags,
                                    const MFT_REGISTER_TYPE_INFO* input,
                                    const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** activates,
                                    UINT32* count) try {
    using namespace Vimbrel;
    if (!activates || !count) return E_POINTER;
    *activates = nullptr;
    *count = 0;
    if (category != MFT_CATEGORY_VIDEO_ENCODER || !Lists(input, MFVideoFormat_NV12) ||
        !Lists(output, MFVideoFormat_H264))
        return S_OK;
    std::vector<ComPtr<EncoderActivate>> made;
    for (const ListedEncoder& each :
         (flags & MFT_ENUM_FLAG_HARDWARE) != 0 ? Hardware() : Software())
        made.push_back(MakeCom<EncoderActivate>(each));
    if (made.empty()) return S_OK;
    auto* const list = static_cast<IMFActivate**>(CoTaskMemAlloc(made.size() * sizeof(void*)));
    if (!list) return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < made.size(); ++i) list[i] = made[i].Detach();
    *activates = list;
    *count = static_cast<UINT32>(made.size());
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

// Counting, asking for interfaces, starting and making objects, as every implementation relies on
// it.
#include <gtest/gtest.h>

#include <objbase.h>
#include <propidl.h>
#include <stringapiset.h>
#include <wincodec.h>

#include <cstring>
#include <thread>
#include <vector>

#include "com/ComObject.h"
#include "com/Utf8.h"

namespace Vimbrel::test {
namespace {

class Unknown final : public ComObject<Implements<IUnknown>> {
public:
    explicit Unknown(int& living) : living_(living) { ++living_; }
    ~Unknown() override { --living_; }

private:
    int& living_;
};

TEST(ComPtr, EveryReferenceTakenIsGivenBack) {
    int living = 0;
    {
        ComPtr<Unknown> first = MakeCom<Unknown>(living);
        ComPtr<Unknown> copy = first;
        ComPtr<Unknown> moved = std::move(first);
        EXPECT_FALSE(first);
        copy = moved;
        const ComPtr<Unknown>& same = copy;
        copy = same;
        moved.Reset();
        EXPECT_EQ(living, 1);
        const ComPtr<IUnknown> other = copy.As<IUnknown>();
        EXPECT_EQ(other.Get(), static_cast<IUnknown*>(copy.Get()));
        EXPECT_FALSE(copy.As<IWICPalette>());
        IUnknown* raw = nullptr;
        ASSERT_EQ(other.CopyTo(&raw), S_OK);
        raw->Release();
        Unknown* detached = copy.Detach();
        EXPECT_EQ(detached->AddRef(), 3u);
        detached->Release();
        detached->Release();
    }
    EXPECT_EQ(living, 0);
}

TEST(ComObject, CountsOverThreads) {
    int living = 0;
    ComPtr<Unknown> object = MakeCom<Unknown>(living);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([object] {
            for (int round = 0; round < 20'000; ++round) const ComPtr<Unknown> copy = object;
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(object->AddRef(), 2u);
    object->Release();
    object.Reset();
    EXPECT_EQ(living, 0);
}

TEST(ObjBase, InitialisationCountsPerThread) {
    // On a thread of its own: the test's thread may be in an apartment already.
    std::thread([] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        CoUninitialize();
    }).join();
}

TEST(ObjBase, MakesKnownClassesOnly) {
    ASSERT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
    const struct {
        const GUID &what, &as;
        HRESULT result;
    } cases[] = {{__uuidof(IUnknown), __uuidof(IUnknown), REGDB_E_CLASSNOTREG},
                 {CLSID_WICImagingFactory2, __uuidof(IWICPalette), E_NOINTERFACE}};
    for (const auto& item : cases) {
        void* object = &object;
        EXPECT_EQ(CoCreateInstance(item.what, nullptr, CLSCTX_INPROC_SERVER, item.as, &object),
                  item.result);
        EXPECT_EQ(object, nullptr);
    }
    CoUninitialize();
}

TEST(PropVariant, ClearFreesWhatTheValueOwns) {
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_LPSTR;
    value.pszVal = static_cast<LPSTR>(CoTaskMemAlloc(4));
    std::memcpy(value.pszVal, "abc", 4);
    EXPECT_EQ(PropVariantClear(&value), S_OK);
    value.vt = VT_VECTOR | VT_UI1;
    value.caub.cElems = 5;
    value.caub.pElems = static_cast<UCHAR*>(CoTaskMemAlloc(5));
    EXPECT_EQ(PropVariantClear(&value), S_OK);
    EXPECT_EQ(PropVariantClear(&value), S_OK) << "nothing is freed twice";
}

TEST(Utf8, GoesBothWays) {
    const struct {
        const wchar_t* wide;
        const char* bytes;
    } cases[] = {
        {L"", ""},
        {L"plain", "plain"},
        {L"\u00e9\u07ff", "\xC3\xA9\xDF\xBF"},
        {L"\u20ac\uffff", "\xE2\x82\xAC\xEF\xBF\xBF"},
        {L"\U0001F3A5!", "\xF0\x9F\x8E\xA5!"},
    };
    for (const auto& item : cases) {
        EXPECT_EQ(ToUtf8(item.wide), item.bytes);
        EXPECT_EQ(FromUtf8(item.bytes), item.wide);
    }
}

TEST(Utf8, ReplacesWhatIsBad) {
    const std::wstring lone_high = {static_cast<wchar_t>(0xD83C), L'x'};
    const std::wstring lone_low = {static_cast<wchar_t>(0xDFA5)};
    EXPECT_EQ(ToUtf8(lone_high), "\xEF\xBF\xBDx");
    EXPECT_EQ(ToUtf8(lone_low), "\xEF\xBF\xBD");
    // Cut off, overlong, a surrogate, beyond the last code point, a stray continuation.
    for (const char* bytes :
         {"\xE2\x82", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80", "\xFF"}) {
        const std::wstring wide = FromUtf8(bytes);
        EXPECT_EQ(wide, std::wstring(wide.size(), static_cast<wchar_t>(0xFFFD))) << bytes;
        EXPECT_FALSE(wide.empty());
    }
}

TEST(TextConversion, SaysHowMuchRoomItNeeds) {
    const char text[] = "a\xE2\x82\xAC";
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0), 3);
    wchar_t wide[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, 4, wide, 4), 2);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, 4, wide, 1), 0);
    char back[8] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide, -1, back, 8, nullptr, nullptr), 5);
    EXPECT_STREQ(back, text);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide, 2, back, 3, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace Vimbrel::test

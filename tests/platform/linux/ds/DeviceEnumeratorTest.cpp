#include "platform/linux/ds/device/DeviceEnumerator.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <vector>

#include "tests/support/GraphKit.h"

namespace Vimbrel::test {
namespace {

HRESULT CreateFilter(REFIID iid, void** object) {
    auto* const filter = new TestSource;
    const HRESULT hr = filter->QueryInterface(iid, object);
    filter->Release();
    return hr;
}

std::vector<DeviceEntry> ListTwo() {
    return {{L"First", L"/dev/first", CreateFilter}, {L"Second", L"", CreateFilter}};
}
std::vector<DeviceEntry> ListMore() { return {{L"Third", L"", {}}}; }

constexpr DeviceCategory categories[] = {
    {CLSID_AudioInputDeviceCategory, ListTwo},
    {CLSID_AudioInputDeviceCategory, ListMore},
};

std::wstring Read(IMoniker& moniker, const wchar_t* name) {
    void* found = nullptr;
    if (FAILED(moniker.BindToStorage(nullptr, nullptr, __uuidof(IPropertyBag), &found)))
        return L"no bag";
    ComPtr<IPropertyBag> bag;
    bag.Attach(static_cast<IPropertyBag*>(found));
    VARIANT value;
    VariantInit(&value);
    if (FAILED(bag->Read(name, &value, nullptr))) return L"none";
    EXPECT_EQ(value.vt, VT_BSTR);
    EXPECT_EQ(SysStringLen(value.bstrVal), std::wcslen(value.bstrVal));
    const std::wstring text = value.bstrVal;
    EXPECT_EQ(VariantClear(&value), S_OK);
    EXPECT_EQ(value.vt, VT_EMPTY);
    return text;
}

TEST(DeviceEnumerator, ListsTheDevicesOfACategoryAsMonikers) {
    void* made = nullptr;
    ASSERT_EQ(CreateDeviceEnumerator(categories, __uuidof(ICreateDevEnum), &made), S_OK);
    ComPtr<ICreateDevEnum> devices;
    devices.Attach(static_cast<ICreateDevEnum*>(made));
    ComPtr<IEnumMoniker> list;
    ASSERT_EQ(devices->CreateClassEnumerator(CLSID_AudioInputDeviceCategory, list.Put(), 0), S_OK);
    std::vector<ComPtr<IMoniker>> monikers(3);
    for (ComPtr<IMoniker>& each : monikers) ASSERT_EQ(list->Next(1, each.Put(), nullptr), S_OK);
    EXPECT_EQ(list->Next(1, ComPtr<IMoniker>().Put(), nullptr), S_FALSE);
    EXPECT_EQ(Read(*monikers[0].Get(), L"FriendlyName"), L"First");
    EXPECT_EQ(Read(*monikers[0].Get(), L"DevicePath"), L"/dev/first");
    EXPECT_EQ(Read(*monikers[1].Get(), L"FriendlyName"), L"Second");
    EXPECT_EQ(Read(*monikers[1].Get(), L"DevicePath"), L"none");
    EXPECT_EQ(Read(*monikers[2].Get(), L"FriendlyName"), L"Third");
    EXPECT_EQ(monikers[0]->IsEqual(monikers[0].Get()), S_OK);
    EXPECT_EQ(monikers[0]->IsEqual(monikers[1].Get()), S_FALSE);
    ComPtr<IBindCtx> context;
    ASSERT_EQ(CreateBindCtx(0, context.Put()), S_OK);
    const int before = TestSource::alive;
    ComPtr<IBaseFilter> filter;
    ASSERT_EQ(monikers[1]->BindToObject(context.Get(), nullptr, __uuidof(IBaseFilter),
                                        reinterpret_cast<void**>(filter.Put())),
              S_OK);
    EXPECT_EQ(TestSource::alive, before + 1);
    filter.Reset();
    EXPECT_EQ(TestSource::alive, before);
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_AudioRendererCategory, list.Put(), 0), S_FALSE);
    EXPECT_EQ(list.Get(), nullptr);
}

}  // namespace
}  // namespace Vimbrel::test

// Lists of devices that a test scripts, on both systems.
#pragma once

#include <windows.h>

#include <oleauto.h>
#include <strmif.h>
#include <uuids.h>

#include <functional>
#include <string>
#include <vector>

#include "base/ObjectCreation.h"
#include "com/ComObject.h"
#include "filters/Enumerators.h"
#include "tests/fakes/StubMoniker.h"

namespace Vimbrel::test {

struct ListedDevice {
    std::wstring name;
    // Without one BindToObject fails.
    std::function<HRESULT(REFIID iid, void** object)> create = nullptr;
    bool has_properties = true;
    bool has_name = true;
};

class FakeBag final : public ComObject<Implements<IPropertyBag>> {
public:
    explicit FakeBag(ListedDevice listed) : device(std::move(listed)) {}
    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
        if (!device.has_name || std::wstring(name) != L"FriendlyName") return E_INVALIDARG;
        value->vt = VT_BSTR;
        value->bstrVal = SysAllocString(device.name.c_str());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Write(LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }

private:
    const ListedDevice device;
};

class FakeMoniker final : public StubMoniker<> {
public:
    explicit FakeMoniker(ListedDevice listed) : device(std::move(listed)) {}
    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx*, IMoniker*, REFIID iid,
                                           void** object) override {
        return device.create ? device.create(iid, object) : E_ACCESSDENIED;
    }
    HRESULT STDMETHODCALLTYPE BindToStorage(IBindCtx*, IMoniker*, REFIID iid,
                                            void** storage) override {
        return device.has_properties ? CreateCom<FakeBag>(iid, storage, device) : E_NOINTERFACE;
    }

private:
    const ListedDevice device;
};

// The system's lists, in place of the real ones until it is destroyed.
class FakeDeviceLists {
public:
    FakeDeviceLists()
        : scope(CLSID_SystemDeviceEnum, [this](REFIID iid, void** object) {
              return available ? MakeCom<Lists>(*this)->QueryInterface(iid, object) : E_FAIL;
          }) {}

    std::vector<ListedDevice> inputs;
    std::vector<ListedDevice> outputs;
    bool available = true;

private:
    class Lists final : public ComObject<Implements<ICreateDevEnum>> {
    public:
        explicit Lists(FakeDeviceLists& lists) : fakes(lists) {}
        HRESULT STDMETHODCALLTYPE CreateClassEnumerator(REFCLSID category, IEnumMoniker** monikers,
                                                        DWORD) override {
            *monikers = nullptr;
            ObjectEnumerator<IEnumMoniker, IMoniker>::Objects objects;
            for (const ListedDevice& each :
                 category == CLSID_AudioInputDeviceCategory ? fakes.inputs : fakes.outputs)
                objects.emplace_back(MakeCom<FakeMoniker>(each).Get());
            if (objects.empty()) return S_FALSE;
            *monikers =
                MakeCom<ObjectEnumerator<IEnumMoniker, IMoniker>>(std::move(objects)).Detach();
            return S_OK;
        }

    private:
        FakeDeviceLists& fakes;
    };

    ScopedClassOverride scope;
};

}  // namespace Vimbrel::test

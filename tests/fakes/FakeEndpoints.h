// Sound endpoints that a test scripts, on both systems: what the library does not call is there for
// the interfaces that are declared whole on one of them.
#pragma once

#include <audioclient.h>
#include <endpointvolume.h>
#include <functiondiscoverykeys_devpkey.h>
#include <mmdeviceapi.h>
#include <windows.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "base/ObjectCreation.h"
#include "base/ThreadSafety.h"
#include "com/ComObject.h"

namespace Vimbrel::test {

struct FakePacket {
    std::vector<BYTE> bytes;
    UINT32 frames;
    UINT64 position;
    UINT64 counter;
};

// One device: what it has, and what was done with it.
struct FakeDevice {
    std::wstring name;
    WAVEFORMATEXTENSIBLE mix_format{};
    REFERENCE_TIME period = 100'000;
    // Results of these calls, of the recording stream if not said otherwise.
    HRESULT initialize = S_OK;
    HRESULT get_service = S_OK;
    HRESULT start = S_OK;
    HRESULT get_buffer = S_OK;
    HRESULT render_initialize = S_OK;
    bool has_volume = true;

    std::atomic<int> waits{0};    // for packets
    std::atomic<int> silence{0};  // frames of silence
    std::atomic<int> releases{0};
    std::atomic<int> running{0};  // streams
    std::atomic<int> streams{0};  // that exist
    WAVEFORMATEX initialized_format{};
    FLOAT level = 1.0F;
    BOOL mute = FALSE;

    void Queue(FakePacket packet) EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        packets.push_back(std::move(packet));
    }

    Mutex mutex;
    std::deque<FakePacket> packets GUARDED_BY(mutex);
};

class FakeProperties final : public ComObject<Implements<IPropertyStore>> {
public:
    explicit FakeProperties(std::wstring friendly_name) : name(std::move(friendly_name)) {}
    HRESULT STDMETHODCALLTYPE GetCount(DWORD*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAt(DWORD, PROPERTYKEY*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
        if (key.pid != PKEY_Device_FriendlyName.pid) return E_INVALIDARG;
        const std::size_t bytes = (name.size() + 1) * sizeof(wchar_t);
        value->vt = VT_LPWSTR;
        value->pwszVal = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
        std::memcpy(value->pwszVal, name.c_str(), bytes);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY, REFPROPVARIANT) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit() { return E_NOTIMPL; }

private:
    std::wstring name;
};

class FakeVolume final : public ComObject<Implements<IAudioEndpointVolume>> {
public:
    explicit FakeVolume(std::shared_ptr<FakeDevice> fake) : device(std::move(fake)) {}
    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(FLOAT level, const GUID*) override {
        device->level = level;
        return level <= 1.0F ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(FLOAT* level) override {
        *level = device->level;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetMute(BOOL mute, const GUID*) override {
        device->mute = mute;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMute(BOOL* mute) override {
        *mute = device->mute;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RegisterControlChangeNotify(struct IAudioEndpointVolumeCallback*) {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnregisterControlChangeNotify(struct IAudioEndpointVolumeCallback*) {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetChannelCount(UINT*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevel(FLOAT, const GUID*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevel(FLOAT*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetChannelVolumeLevel(UINT, FLOAT, const GUID*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetChannelVolumeLevelScalar(UINT, FLOAT, const GUID*) {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetChannelVolumeLevel(UINT, FLOAT*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetChannelVolumeLevelScalar(UINT, FLOAT*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVolumeStepInfo(UINT*, UINT*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE VolumeStepUp(const GUID*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE VolumeStepDown(const GUID*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryHardwareSupport(DWORD*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVolumeRange(FLOAT*, FLOAT*, FLOAT*) { return E_NOTIMPL; }

private:
    const std::shared_ptr<FakeDevice> device;
};

class FakeStream final : public ComObject<Implements<IAudioClient>, Implements<IAudioCaptureClient>,
                                          Implements<IAudioRenderClient>> {
public:
    explicit FakeStream(std::shared_ptr<FakeDevice> fake) : device(std::move(fake)) {
        ++device->streams;
    }
    ~FakeStream() override { --device->streams; }

    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE, DWORD flags, REFERENCE_TIME,
                                         REFERENCE_TIME, const WAVEFORMATEX* format,
                                         const GUID*) override {
        records = (flags & AUDCLNT_STREAMFLAGS_LOOPBACK) != 0;
        if (records) device->initialized_format = *format;
        return records ? device->initialize : device->render_initialize;
    }
    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32* frames) override {
        *frames = 480;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStreamLatency(REFERENCE_TIME*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32* frames) override {
        *frames = 400;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX*,
                                                WAVEFORMATEX**) {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** format) override {
        *format = static_cast<WAVEFORMATEX*>(CoTaskMemAlloc(sizeof device->mix_format));
        std::memcpy(*format, &device->mix_format, sizeof device->mix_format);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME* period, REFERENCE_TIME*) override {
        *period = device->period;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Start() override {
        if (records && FAILED(device->start)) return device->start;
        ++device->running;
        if (event) SetEvent(event);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Stop() override {
        if (device->running > 0) --device->running;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Reset() { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE handle) override {
        event = handle;
        return handle ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetService(REFIID iid, void** service) override {
        if (records && FAILED(device->get_service)) return device->get_service;
        return QueryInterface(iid, service);
    }

    HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32* frames) override {
        ++device->waits;
        const MutexLock lock(device->mutex);
        *frames = device->packets.empty() ? 0 : device->packets.front().frames;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* position,
                                        UINT64* counter) override {
        const MutexLock lock(device->mutex);
        FakePacket& packet = device->packets.front();
        if (FAILED(device->get_buffer)) return device->get_buffer;
        *data = packet.bytes.data();
        *frames = packet.frames;
        *flags = AUDCLNT_BUFFERFLAGS_SILENT;  // not looked at
        *position = packet.position;
        *counter = packet.counter;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32) override {
        const MutexLock lock(device->mutex);
        device->packets.pop_front();
        ++device->releases;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetBuffer(UINT32 frames, BYTE** data) override {
        played.resize(frames);
        *data = played.data();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames, DWORD flags) override {
        if (flags == AUDCLNT_BUFFERFLAGS_SILENT) device->silence += static_cast<int>(frames);
        return S_OK;
    }

private:
    const std::shared_ptr<FakeDevice> device;
    bool records = false;
    HANDLE event = nullptr;
    std::vector<BYTE> played;
};

class FakeEndpoint final : public ComObject<Implements<IMMDevice>, Implements<IMMEndpoint>> {
public:
    explicit FakeEndpoint(std::shared_ptr<FakeDevice> fake) : device(std::move(fake)) {}
    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) override {
        *object = nullptr;
        if (iid == __uuidof(IAudioClient))
            return MakeCom<FakeStream>(device)->QueryInterface(iid, object);
        if (iid == __uuidof(IAudioEndpointVolume) && device->has_volume)
            return MakeCom<FakeVolume>(device)->QueryInterface(iid, object);
        return E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD, IPropertyStore** store) override {
        *store = MakeCom<FakeProperties>(device->name).Detach();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetId(LPWSTR*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetState(DWORD*) { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDataFlow(EDataFlow* flow) override {
        *flow = eRender;
        return S_OK;
    }

private:
    const std::shared_ptr<FakeDevice> device;
};

// The system's list of output devices, in place of the real one until it is destroyed.
class FakeEndpoints {
public:
    FakeEndpoints()
        : scope(CLSID_MMDeviceEnumerator, [this](REFIID iid, void** object) {
              return MakeCom<Enumerator>(*this)->QueryInterface(iid, object);
          }) {}

    FakeDevice& Add(const std::wstring& name, const WAVEFORMATEXTENSIBLE& mix_format) {
        devices.push_back(std::make_shared<FakeDevice>());
        devices.back()->name = name;
        devices.back()->mix_format = mix_format;
        return *devices.back();
    }

    std::vector<std::shared_ptr<FakeDevice>> devices;
    std::shared_ptr<FakeDevice> default_device;

private:
    class Collection final : public ComObject<Implements<IMMDeviceCollection>> {
    public:
        explicit Collection(FakeEndpoints& endpoints) : fakes(endpoints) {}
        HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override {
            *count = static_cast<UINT>(fakes.devices.size());
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice** device) override {
            *device = MakeCom<FakeEndpoint>(fakes.devices.at(index)).Detach();
            return S_OK;
        }

    private:
        FakeEndpoints& fakes;
    };

    class Enumerator final : public ComObject<Implements<IMMDeviceEnumerator>> {
    public:
        explicit Enumerator(FakeEndpoints& endpoints) : fakes(endpoints) {}
        HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow, DWORD,
                                                     IMMDeviceCollection** found) override {
            *found = MakeCom<Collection>(fakes).Detach();
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role,
                                                          IMMDevice** device) override {
            *device = nullptr;
            if (!fakes.default_device || flow != eRender || role != eConsole)
                return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
            *device = MakeCom<FakeEndpoint>(fakes.default_device).Detach();
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR, IMMDevice**) { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE
        RegisterEndpointNotificationCallback(struct IMMNotificationClient*) {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE
        UnregisterEndpointNotificationCallback(struct IMMNotificationClient*) {
            return E_NOTIMPL;
        }

    private:
        FakeEndpoints& fakes;
    };

    ScopedClassOverride scope;
};

}  // namespace Vimbrel::test

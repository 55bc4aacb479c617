// Records what an output device plays, and sets the device's volume.
#pragma once

#include <audioclient.h>
#include <endpointvolume.h>
#include <mmdeviceapi.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"

namespace Vimbrel {

// Control operations belong to one thread, which has started COM. The dispatcher runs on the
// capture thread, with no lock held, and must not call StopThreads or Close, which wait for it.
//
// A device that goes away is not reported: packets end, and the threads run on until StopThreads.
class LoopbackCapture {
public:
    // `size` bytes of whole frames in the mix format, valid during the call. What position and
    // counter count is the system's: frames and the time of the first frame on Windows, the times
    // of the first frame and of the packet's end on Linux, times in units of 100 ns.
    using Dispatcher = std::function<void(
        unsigned char* data, int size, std::uint64_t device_position, std::uint64_t qpc_position)>;

    LoopbackCapture();
    virtual ~LoopbackCapture();
    LoopbackCapture(const LoopbackCapture&) = delete;
    LoopbackCapture& operator=(const LoopbackCapture&) = delete;

    // Opens the active output device of that friendly name, the last one of several; the default
    // one if there is none such. Closes what was open.
    HRESULT Initialize(const std::wstring& device_name);
    // False if nothing is open. A failure within the threads is not reported.
    bool StartThreads();
    void StopThreads();
    void Close();

    // Empty: packets are dropped. Any thread; the capture thread uses it from its next packet on.
    void SetDispatcher(Dispatcher dispatcher) EXCLUDES(dispatcher_mutex);

    // 16-bit PCM in the device's own rate and channels; null if nothing is open.
    const WAVEFORMATEX* MixFormat() const { return mix_format; }
    const std::wstring& DeviceName() const { return device_name; }

    // -1 without a volume interface, or if it fails.
    int GetVolumePercent();
    // Of the device itself. False without a volume interface, or if it fails.
    bool SetVolumePercent(int percent);
    // Nothing, and false, without one.
    void SetMute(bool mute);
    bool GetMute();

private:
    HRESULT FindDevice(const std::wstring& name);
    HRESULT ActivateClient();
    HRESULT ConvertToPcm16();
    HRESULT AllocateBuffer();
    void Capture();
    void Drain();
    void Deliver(int bytes, std::uint64_t device_position, std::uint64_t qpc_position)
        EXCLUDES(dispatcher_mutex);
    void StopThread(std::thread& thread, HANDLE stop_event);

    std::atomic<bool> capturing{false};
    Mutex dispatcher_mutex;
    // Shared so that the capture thread can call it without the lock.
    std::shared_ptr<const Dispatcher> dispatcher GUARDED_BY(dispatcher_mutex);
    bool convert_to_pcm16 = true;
    REFERENCE_TIME device_period = 0;  // 100 ns
    std::uint32_t block_align = 0;     // bytes per frame
    std::wstring device_name;
    std::unique_ptr<unsigned char[]> buffer;
    std::uint32_t buffer_size = 0;   // bytes
    std::uint32_t packet_count = 0;  // delivered since the start
    int volume = 100;                // the last one set, in per cent
    WAVEFORMATEX* mix_format = nullptr;
    HANDLE started_event;
    HANDLE capture_stop_event;
    HANDLE playback_stop_event;
    std::thread capture_thread;
    std::thread playback_thread;
    ComPtr<IMMDevice> device;
    ComPtr<IAudioCaptureClient> capture_client;
    ComPtr<IAudioClient> audio_client;
    ComPtr<IAudioEndpointVolume> endpoint_volume;
};

}  // namespace Vimbrel

// The engine that the process shares, on the clocked mixer.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <string>

#include "Audio/AudioFormat.h"
#include "Audio/CAudioMixer.h"
#include "Audio/factory/SourceControls.h"
#include "vimbrel/AudioFactory2.h"

namespace Vimbrel {

class CAudioFactory2Impl final : public SourceControls<CAudioFactory2> {
public:
    CAudioFactory2Impl();
    // Stops an engine that runs: nothing else ends the mixing thread.
    ~CAudioFactory2Impl() override;
    CAudioFactory2Impl(const CAudioFactory2Impl&) = delete;
    CAudioFactory2Impl& operator=(const CAudioFactory2Impl&) = delete;

    void Start() override;
    void Stop() override;
    bool IsRunning() override { return engine_running; }
    bool GetMediaMixMode() override { return media_mix_mode.load(std::memory_order_relaxed); }
    void SetMediaMixMode(bool on) override;
    WAVEFORMATEX* GetFormat() override { return &format; }
    void SetDispatcher(Dispatcher dispatcher) override;
    void SetInputDevice(const wchar_t* name) override;
    bool HasInputDevice() override { return !capture_device.empty(); }
    void SetOutputDevice(const wchar_t* name) override;
    bool HasOutputDevice() override { return !loopback_device.empty(); }

private:
    void StartEngine();
    void StopEngine();
    void StartMicrophone();
    void StartSystemSound();

    CAudioMixer& mixer;  // outlives this object
    std::atomic<bool> media_mix_mode{false};
    bool engine_running = false;
    int users = 0;
    WAVEFORMATEX format = engine_format;
    std::wstring capture_device;
    CAudioChannel2* capture_channel = nullptr;
    std::wstring loopback_device;
    CAudioChannel2* loopback_channel = nullptr;
};

}  // namespace Vimbrel

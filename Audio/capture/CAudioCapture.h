// A microphone: its filter graph, and what is done with its packets on the way.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Audio/capture/CDSAudioProcessing.h"
#include "Audio/capture/VoiceLevel.h"
#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/FilterNames.h"
#include "vimbrel/DSRenderAudio.h"

namespace Vimbrel {

// Control operations belong to one thread, which has started COM. A device that stops delivering
// does so silently.
class CAudioCapture : public IDSRenderAudio::CDispatcher {
public:
    // On the graph's streaming thread, with no lock held; must not control the graph. `start` is
    // absolute, in units of 100 ns as `duration` is.
    using Dispatcher = std::function<void(unsigned char* data, int size, std::int64_t start,
                                          std::int64_t duration)>;

    CAudioCapture();
    void OnAudioSample(unsigned char* data, int size, std::int64_t start,
                       std::int64_t duration) override;
    ~CAudioCapture() override;

    // Builds the graph of the device, which stays stopped. A failure leaves what was built until
    // the next Start or Close.
    bool Start(const std::wstring& device);
    void Close();
    // Runs the graph; false without one, or if its device fails.
    bool Run();
    void Stop();

    // Empty: packets are dropped. Any thread; the streaming thread uses it from its next packet on.
    void SetDispatcher(Dispatcher receiver) EXCLUDES(dispatcher_mutex);
    // Zeros without a graph.
    const WAVEFORMATEX& Format() const { return format; }

    // These outlive the graph. Any thread.
    void SetMuted(bool value) { muted.store(value, std::memory_order_relaxed); }
    bool IsMuted() const { return muted.load(std::memory_order_relaxed); }
    void SetVoiceDetect(bool on) { voice_detect.store(on, std::memory_order_relaxed); }
    void SetVoiceDetectParams(int level, int silence_ms, int voice_ms) {
        voice_level.SetParams(level, silence_ms, voice_ms);
    }
    void SetVoiceDetectWindow(HWND window, unsigned message);
    // Percent. The control thread.
    void SetPitch(int percent);
    void SetVolume(int percent);
    int Volume() const { return volume; }

private:
    bool BuildChain();
    bool AddSink();
    // Where the chain goes on: the pitch filter's output, or the device's own without that filter.
    ComPtr<IPin> AddProcessing(const ComPtr<IPin>& device_pin);
    void LogStart(const std::wstring& device) const;
    void DetectVoice(const unsigned char* data, int size);

    Mutex dispatcher_mutex;
    // Shared so that the streaming thread can call it without the lock.
    std::shared_ptr<const Dispatcher> dispatcher GUARDED_BY(dispatcher_mutex);
    ComPtr<IGraphBuilder> graph;
    ComPtr<IMediaControl> media_control;
    IDSRenderAudio* sink = nullptr;
    ComPtr<IBaseFilter> sink_filter;
    ComPtr<IBaseFilter> device_filter;
    ComPtr<IAMAudioInputMixer> input_mixer;
    ComPtr<CDSAudioProcessing> processing;
    WAVEFORMATEX format{};  // written while the graph is stopped
    std::atomic<bool> muted{false};
    int pitch = 100;   // percent
    int volume = 100;  // percent
    std::atomic<bool> voice_detect{false};
    VoiceLevel voice_level;
    std::atomic<HWND> notify_window{nullptr};
    std::atomic<unsigned> notify_message{0};
};

}  // namespace Vimbrel

// The factory of one consumer, with system sound and a microphone as its two sources.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "Audio/AudioFormat.h"
#include "Audio/CAudioChannel.h"
#include "Audio/factory/SourceControls.h"
#include "vimbrel/AudioFactory.h"

namespace Vimbrel {

// The mixing thread exists with two sources only. It is paced by the data: it waits for the slower
// source, and for one that has gone until Close.
class CAudioFactoryImpl final : public SourceControls<CAudioFactory> {
public:
    CAudioFactoryImpl();
    ~CAudioFactoryImpl() override;
    CAudioFactoryImpl(const CAudioFactoryImpl&) = delete;
    CAudioFactoryImpl& operator=(const CAudioFactoryImpl&) = delete;

    void SetDispatcher(Dispatcher receiver) override;
    bool Open(bool system_sound, const std::wstring& output_device, bool microphone,
              const std::wstring& input_device) override;
    void Reserved3() override {}
    void Reserved4() override {}
    void Close() override;
    bool Start() override;
    void Reserved7() override {}
    const WAVEFORMATEX* GetOutputFormat() override { return &output_format; }
    bool IsChannelOpen(int index) override;

private:
    void OpenMicrophone(const std::wstring& device);
    void OpenSystemSound(const std::wstring& device);
    int CountOpen() const;
    void StartSources();
    void StartMixing();
    void OnMicrophoneSamples(unsigned char* data, int size, std::int64_t start,
                             std::int64_t duration);
    void OnLoopbackSamples(unsigned char* data, int size, std::uint64_t device_position,
                           std::uint64_t qpc_position);
    void MixingThread();
    void MixBlock();
    void StopSources();

    static constexpr int source_count = 2;
    static constexpr int loopback_index = 0;
    static constexpr int microphone_index = 1;

    // Sources that run. Their threads read it while Start counts.
    std::atomic<int> active_sources{0};
    bool running = false;
    Dispatcher dispatcher;
    const WAVEFORMATEX output_format = engine_format;
    CAudioChannel channels[source_count];
    // Of the mixing thread: a block of each source, and their sum.
    std::unique_ptr<unsigned char[]> blocks[source_count];
    std::unique_ptr<unsigned char[]> mix_block;
    std::thread thread;
    const HANDLE started_event;
    const HANDLE stop_event;
    std::int64_t timestamp = 0;  // 100 ns, of the next block
    const std::int64_t block_duration;
};

}  // namespace Vimbrel

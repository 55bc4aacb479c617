#include "Audio/factory/CAudioFactoryImpl.h"

#include <objbase.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Audio/BlockMath.h"
#include "Audio/RelaxedOrder.h"

namespace Vimbrel {

namespace {

constexpr int block_bytes = 4096;

}  // namespace

std::unique_ptr<CAudioFactory> CAudioFactory::CreateAudioFactory() {
    return std::make_unique<CAudioFactoryImpl>();
}

CAudioFactoryImpl::CAudioFactoryImpl()
    : started_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      stop_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      block_duration(block_bytes * std::int64_t{10'000'000} /
                     (std::int64_t{output_format.nBlockAlign} * output_format.nSamplesPerSec)) {}

CAudioFactoryImpl::~CAudioFactoryImpl() {
    Close();
    CloseHandle(started_event);
    CloseHandle(stop_event);
}

void CAudioFactoryImpl::SetDispatcher(Dispatcher receiver) { dispatcher = std::move(receiver); }

bool CAudioFactoryImpl::IsChannelOpen(int index) {
    return index >= 0 && index < source_count && channels[index].opened.load(relaxed);
}

int CAudioFactoryImpl::CountOpen() const {
    return static_cast<int>(std::count_if(std::begin(channels), std::end(channels),
                                          [](auto& each) { return each.opened.load(relaxed); }));
}

bool CAudioFactoryImpl::Open(bool system_sound, const std::wstring& output_device, bool microphone,
                             const std::wstring& input_device) {
    // What an earlier Open started would go on into channels that are configured anew.
    Close();
    timestamp = 0;
    running = false;
    for (CAudioChannel& channel : channels) channel.opened.store(false, relaxed);
    // A source that is left out may have been bound by an earlier Open.
    if (microphone) {
        OpenMicrophone(input_device);
    } else {
        capture.SetDispatcher(nullptr);
    }
    if (system_sound) {
        OpenSystemSound(output_device);
    } else {
        loopback.SetDispatcher(nullptr);
    }
    return CountOpen() > 0;
}

void CAudioFactoryImpl::OpenMicrophone(const std::wstring& device) {
    capture.SetDispatcher(
        [this](unsigned char* data, int size, std::int64_t start, std::int64_t duration) {
            OnMicrophoneSamples(data, size, start, duration);
        });
    if (capture.Start(device)) {
        channels[microphone_index].Configure(&output_format, &capture.Format());
        channels[microphone_index].opened.store(true, relaxed);
    } else {
        capture.SetDispatcher(nullptr);
    }
}

void CAudioFactoryImpl::OpenSystemSound(const std::wstring& device) {
    loopback.SetDispatcher([this](unsigned char* data, int size, std::uint64_t device_position,
                                  std::uint64_t qpc_position) {
        OnLoopbackSamples(data, size, device_position, qpc_position);
    });
    if (SUCCEEDED(loopback.Initialize(device))) {
        channels[loopback_index].Configure(&output_format, loopback.MixFormat());
        channels[loopback_index].opened.store(true, relaxed);
    } else {
        loopback.SetDispatcher(nullptr);
    }
}

bool CAudioFactoryImpl::Start() {
    if (running || thread.joinable()) return true;
    for (CAudioChannel& channel : channels) {
        if (channel.opened.load(relaxed)) channel.Start();
    }
    StartSources();
    if (active_sources == 0) return false;
    if (active_sources == source_count) StartMixing();
    running = true;
    return true;
}

void CAudioFactoryImpl::StartSources() {
    // What arrives during the start is already treated as of so many sources.
    active_sources = CountOpen();
    CAudioChannel& microphone = channels[microphone_index];
    if (microphone.opened.load(relaxed) && !capture.Run()) microphone.opened.store(false, relaxed);
    CAudioChannel& system_sound = channels[loopback_index];
    if (system_sound.opened.load(relaxed) && !loopback.StartThreads())
        system_sound.opened.store(false, relaxed);
    active_sources = CountOpen();
}

void CAudioFactoryImpl::StartMixing() {
    ResetEvent(started_event);
    ResetEvent(stop_event);
    thread = std::thread(&CAudioFactoryImpl::MixingThread, this);
    WaitForSingleObject(started_event, INFINITE);
}

void CAudioFactoryImpl::OnMicrophoneSamples(unsigned char* data, int size, std::int64_t start,
                                            std::int64_t duration) {
    if (active_sources == source_count) {
        channels[microphone_index].PushSamples(data, size);
    } else if (dispatcher) {
        // Kept: in the device's own format, which hosts ask the device for.
        dispatcher(data, size, start, duration);
    }
}

void CAudioFactoryImpl::OnLoopbackSamples(unsigned char* data, int size, std::uint64_t,
                                          std::uint64_t qpc_position) {
    CAudioChannel& channel = channels[loopback_index];
    if (active_sources == source_count) {
        channel.PushSamples(data, size);
        return;
    }
    if (!channel.Convert(data, size) || !dispatcher) return;
    // Kept: the length of a block whatever the size, because hosts count such blocks.
    dispatcher(data, size, static_cast<std::int64_t>(qpc_position), block_duration);
}

void CAudioFactoryImpl::MixingThread() {
    const bool started = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    if (started) {
        for (auto& block : blocks) block = std::make_unique<unsigned char[]>(block_bytes);
        mix_block = std::make_unique<unsigned char[]>(block_bytes);
    }
    // Also after a failure, since Start waits for it.
    SetEvent(started_event);
    if (!started) return;
    constexpr DWORD turn_ms = 5;
    while (WaitForSingleObject(stop_event, turn_ms) == WAIT_TIMEOUT) MixBlock();
    StopSources();
    CoUninitialize();
    for (auto& block : blocks) block.reset();
    mix_block.reset();
}

// Waits for a block of each source and delivers their sum. Nothing is delivered when the channels
// end, or while none has a whole block.
void CAudioFactoryImpl::MixBlock() {
    bool mixed = false;
    for (int i = 0; i < source_count; ++i) {
        if (!channels[i].opened.load(relaxed)) continue;
        int size = block_bytes;
        const bool full = channels[i].PopBlock(blocks[i].get(), &size);
        if (size < 0) return;
        if (!full) continue;
        if (mixed) {
            SelectedBlockMath().add(reinterpret_cast<std::int16_t*>(mix_block.get()),
                                    reinterpret_cast<const std::int16_t*>(blocks[i].get()),
                                    block_bytes / sizeof(std::int16_t));
        } else {
            std::memcpy(mix_block.get(), blocks[i].get(), block_bytes);
        }
        mixed = true;
    }
    if (!mixed || !dispatcher) return;
    dispatcher(mix_block.get(), block_bytes, timestamp, block_duration);
    timestamp += block_duration;
}

void CAudioFactoryImpl::StopSources() {
    for (CAudioChannel& channel : channels) {
        if (channel.opened.load(relaxed)) channel.Shutdown();
    }
    loopback.StopThreads();
    capture.Stop();
}

void CAudioFactoryImpl::Close() {
    if (thread.joinable()) {
        SetEvent(stop_event);
        // The thread may wait for the block of a device that has gone.
        for (CAudioChannel& channel : channels) channel.Close();
        thread.join();
        running = false;
    }
    // Kept: with one source `running` stays set, so that Start needs an Open first.
    loopback.Close();
    capture.Close();
}

}  // namespace Vimbrel

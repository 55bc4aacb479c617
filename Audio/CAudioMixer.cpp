#include "Audio/CAudioMixer.h"

#include <objbase.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "Audio/BlockMath.h"
#include "Audio/RelaxedOrder.h"
#include "base/Clock.h"

namespace Vimbrel {

namespace {

std::int32_t NextId() {
    static std::atomic<std::int32_t> last{0};
    return ++last;
}

}  // namespace

CAudioMixer& GetMixer() {
    // Never destroyed: at the end of the process graphs of media may still write into their
    // channels. Its thread has ended by then, with the engine that starts it.
    static CAudioMixer& mixer = *new CAudioMixer;
    return mixer;
}

CAudioMixer::CAudioMixer() : stop_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

CAudioMixer::~CAudioMixer() {
    Stop();
    CloseHandle(stop_event);
}

void CAudioMixer::SetFormat(const WAVEFORMATEX& value) {
    const MutexLock guard(mutex);
    format = value;
    format.cbSize = 0;
}

void CAudioMixer::SetDispatcher(Dispatcher value) { dispatcher = std::move(value); }

CAudioChannel2* CAudioMixer::AddChannel(const WAVEFORMATEX* input) {
    const MutexLock guard(mutex);
    auto channel = std::make_unique<CAudioChannel2>(NextId());
    channel->Configure(&format, input);
    if (thread.joinable()) channel->Activate();
    channels.push_back(std::move(channel));
    return channels.back().get();
}

void CAudioMixer::RemoveChannel(CAudioChannel2* channel) {
    // Destroyed after the lock is released: that ends a resampler.
    std::unique_ptr<CAudioChannel2> removed;
    const MutexLock guard(mutex);
    const auto found = std::find_if(channels.begin(), channels.end(),
                                    [channel](const auto& each) { return each.get() == channel; });
    if (found == channels.end()) return;
    channel->enabled.store(false, relaxed);
    channel->Reset();
    removed = std::move(*found);
    channels.erase(found);
}

void CAudioMixer::Start() {
    const MutexLock guard(mutex);
    if (thread.joinable()) return;
    for (const auto& channel : channels) channel->Activate();
    ResetEvent(stop_event);
    thread = std::thread(&CAudioMixer::MixingThread, this);
}

void CAudioMixer::Stop() {
    std::thread stopped;
    {
        const MutexLock guard(mutex);
        stopped = std::move(thread);
    }
    SetEvent(stop_event);
    if (stopped.joinable()) stopped.join();
    const MutexLock guard(mutex);
    for (const auto& channel : channels) {
        channel->enabled.store(false, relaxed);
        channel->Reset();
    }
}

void CAudioMixer::MixingThread() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return;
    if (const auto run = BeginRun()) {
        constexpr DWORD turn_ms = 5;
        while (WaitForSingleObject(stop_event, turn_ms) == WAIT_TIMEOUT) Turn(*run);
    }
    CoUninitialize();
}

std::unique_ptr<CAudioMixer::MixRun> CAudioMixer::BeginRun() {
    const MutexLock guard(mutex);
    if (format.nAvgBytesPerSec == 0) return nullptr;
    auto run = std::make_unique<MixRun>();
    run->clock_start = Clock::Current().Now();
    constexpr double block_units = block_bytes * 1e7;
    run->period = static_cast<std::int64_t>(std::ceil(block_units / format.nAvgBytesPerSec));
    return run;
}

void CAudioMixer::Turn(MixRun& run) {
    if (Clock::Current().Now() - run.timestamp - run.clock_start < 0) return;
    if (Mix(run) && dispatcher) {
        dispatcher(reinterpret_cast<unsigned char*>(run.mix), block_bytes, run.timestamp,
                   run.period);
    }
    run.timestamp += run.period;
}

// Whether any channel had a block.
bool CAudioMixer::Mix(MixRun& run) {
    const BlockMath& math = SelectedBlockMath();
    bool mixed = false;
    const MutexLock guard(mutex);
    for (const auto& channel : channels) {
        if (!channel->accepting.load(relaxed) || channel->used.load(relaxed) < block_bytes)
            continue;
        // Kept: a ready channel that is not enabled hides those after it until the next turn.
        if (!channel->enabled.load(relaxed)) break;
        // The first one goes into the sum at once.
        std::int16_t* const block = mixed ? run.scratch : run.mix;
        {
            const MutexLock ring(channel->mutex);
            if (!channel->ReadRing(block, block_bytes)) break;
        }
        const std::int32_t volume = channel->volume.load(relaxed);
        if (volume < 100) math.scale(block, block_samples, volume);
        if (mixed) math.add(run.mix, block, block_samples);
        mixed = true;
    }
    return mixed;
}

}  // namespace Vimbrel

// The clocked mixer of the process: once per period it adds a block of every ready channel and
// hands the sum to one callback.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "Audio/AudioFormat.h"
#include "Audio/CAudioChannel2.h"
#include "base/ThreadSafety.h"

namespace Vimbrel {

class CAudioMixer {
public:
    static constexpr std::size_t block_samples = 2048;
    static constexpr int block_bytes = 4096;

    // `timestamp` and `duration` are in units of 100 ns; stamps count blocks since the start of
    // the mixing thread. `data` is valid during the call, which holds no lock.
    using Dispatcher = std::function<void(unsigned char* data, int size, std::int64_t timestamp,
                                          std::int64_t duration)>;

    // What the mixing thread keeps from one turn to the next.
    struct MixRun {
        std::int64_t clock_start;
        std::int64_t period;
        std::int64_t timestamp = 0;
        alignas(64) std::int16_t scratch[block_samples];
        alignas(64) std::int16_t mix[block_samples];
    };

    CAudioMixer();
    virtual ~CAudioMixer();
    CAudioMixer(const CAudioMixer&) = delete;
    CAudioMixer& operator=(const CAudioMixer&) = delete;

    // Takes effect at the next Start, and for the channels that are added from now on. Bytes after
    // the structure are not kept. Any thread.
    void SetFormat(const WAVEFORMATEX& value);
    // Not while the mixing thread runs.
    void SetDispatcher(Dispatcher value);

    // The channel is the mixer's until RemoveChannel. It takes part in the mix at once if the
    // thread runs, otherwise from the next Start. Any thread, with COM started.
    CAudioChannel2* AddChannel(const WAVEFORMATEX* input);
    // After the channel's producer has ended. Ignored for a channel that is not the mixer's. Any
    // thread.
    void RemoveChannel(CAudioChannel2* channel);

    // Starts the mixing thread unless it runs, and does not wait for it to be up. One control
    // thread, outside the dispatcher.
    void Start();
    // Joins the thread; the channels stay, empty, until the next Start.
    void Stop();

    // What the thread does: one turn delivers one block if it is due, and advances the stamp
    // whether or not there was anything to deliver. Null if the format has no byte rate.
    std::unique_ptr<MixRun> BeginRun() EXCLUDES(mutex);
    void Turn(MixRun& run) EXCLUDES(mutex);

private:
    void MixingThread();
    bool Mix(MixRun& run) EXCLUDES(mutex);

    Dispatcher dispatcher;
    Mutex mutex;  // Taken before a channel's.
    std::vector<std::unique_ptr<CAudioChannel2>> channels GUARDED_BY(mutex);
    WAVEFORMATEX format GUARDED_BY(mutex) = engine_format;
    std::thread thread GUARDED_BY(mutex);
    const HANDLE stop_event;
};

// Built at the first call, and there until the process has ended.
CAudioMixer& GetMixer();

}  // namespace Vimbrel

// The buffer between one producer of sound and the mixing thread of the factory for two sources: a
// ring without a notion of time that overwrites its oldest bytes and lets its reader wait.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <memory>

#include "Audio/AudioResampler.h"
#include "base/ThreadSafety.h"

namespace Vimbrel {

class CAudioChannel {
public:
    CAudioChannel();
    virtual ~CAudioChannel() = default;
    CAudioChannel(const CAudioChannel&) = delete;
    CAudioChannel& operator=(const CAudioChannel&) = delete;

    // Samples come in `input` and are kept in `output`. Accepts writes afterwards, unless they
    // cannot be converted. Before the producer starts; COM has been started.
    void Configure(const WAVEFORMATEX* output, const WAVEFORMATEX* input);

    // Accepts writes into an empty ring, and undoes Close. Kept: also after samples turned out not
    // to be convertible, which then arrive as they are.
    void Start();
    // Ends a wait in PopBlock, which without it would not end after a device has gone.
    void Close();
    // Refuses writes and releases the converter. A reader that waits on an empty ring goes on
    // waiting: the mixing thread calls this, which is the reader.
    void Shutdown();

    // Takes a block on the producer's thread. Ignored unless the channel is open and accepts.
    void PushSamples(unsigned char* data, int size);

    // Converts a block that does not pass through the ring, on the producer's thread. False if
    // there is nothing to go on with; otherwise `data` and `size` are what to go on with, valid
    // until the next conversion.
    bool Convert(unsigned char*& data, int& size);

    // Waits for data, or for Close. Takes *size bytes if there are as many, else none and returns
    // false. *size is -1 afterwards if the channel refuses writes or was closed, whatever the
    // result.
    bool PopBlock(unsigned char* out, int* size);

    // Whether the device behind the channel was opened.
    std::atomic<bool> opened{true};

private:
    bool Resample(unsigned char*& data, int& size) REQUIRES(resampling_mutex);
    void Write(const unsigned char* data, int size) REQUIRES(mutex);
    void Clear() REQUIRES(mutex);

    // Keeps the converter alive during a write. Taken before `mutex`, which is not held while
    // samples are converted.
    Mutex resampling_mutex ACQUIRED_BEFORE(mutex);
    AudioResampler resampler GUARDED_BY(resampling_mutex);
    bool needs_resampling GUARDED_BY(resampling_mutex) = false;

    Mutex mutex;
    Condition data_ready;
    std::atomic<bool> accepting{false};
    bool closed GUARDED_BY(mutex) = false;
    int capacity GUARDED_BY(mutex) = 49152;
    std::unique_ptr<unsigned char[]> ring GUARDED_BY(mutex);
    int read_pos GUARDED_BY(mutex) = 0;
    int write_pos GUARDED_BY(mutex) = 0;
    int used GUARDED_BY(mutex) = 0;
};

}  // namespace Vimbrel

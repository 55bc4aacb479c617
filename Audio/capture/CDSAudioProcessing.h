// The filter that shifts the pitch of a graph's sound and gives a copy to the mixer.
#pragma once

#include <atomic>
#include <cstdint>

#include "Audio/CAudioChannel2.h"
#include "Audio/capture/PitchShifter.h"
#include "base/ThreadSafety.h"
#include "filters/TransInPlaceFilter.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Takes PCM of 8 or 16 bits and works in the memory of the samples, whose length stays: the tail
// that the shifter holds back keeps old samples. Kept: samples of 8 bits with a pitch become noise,
// because they are shifted as if they had 16.
//
// While the second factory mixes media, a filter that is not stopped has a channel of the mixer.
class CDSAudioProcessing final : public CTransInPlaceFilter {
public:
    CDSAudioProcessing();

    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;

    HRESULT CheckInputType(const CMediaType* type) override;
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* type) override;
    HRESULT Transform(IMediaSample* sample) override;
    HRESULT EndFlush() override;

    // Percent, at least 10; from the next sample on. Any thread.
    void SetPitch(int percent);
    // The one in force. Any thread.
    int Pitch() const { return pitch.load(std::memory_order_relaxed); }
    // Percent, of the channel if there is one. Any thread.
    void SetChannelVolume(int percent) EXCLUDES(channel_mutex);

protected:
    ~CDSAudioProcessing() override;

private:
    void AddChannel() REQUIRES(channel_mutex);
    void RemoveChannel() EXCLUDES(channel_mutex);

    PitchShifter sound_touch;
    // Of the streaming thread, or of a control thread without one.
    std::size_t frame_bytes = 0;

    std::atomic<int> pitch{100};
    std::atomic<int> pending_pitch{100};
    std::atomic<bool> pitch_changed{false};

    // Taken before the mixer's. Held while the channel takes samples: the lock of the streaming
    // thread is no substitute, because a paused renderer holds that as long as the pause lasts.
    Mutex channel_mutex;
    WAVEFORMATEX format GUARDED_BY(channel_mutex){};
    CAudioChannel2* channel GUARDED_BY(channel_mutex) = nullptr;
};
#pragma GCC diagnostic pop

// A new filter, whose one reference belongs to the caller.
HRESULT CreateDSAudioProcessing(CDSAudioProcessing** filter);

}  // namespace Vimbrel

// A topology at work: what the source gives goes to the encoders, and what happens becomes the
// session's events.
#pragma once

#include <mfidl.h>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"
#include "platform/linux/mf/session/EncodingThread.h"
#include "platform/linux/mf/session/PresentationClock.h"
#include "platform/linux/mf/session/PresentationReader.h"
#include "platform/linux/mf/session/TranscodeTopology.h"

namespace Vimbrel {

class TranscodeRun final : public ComObject<Implements<IUnknown>>,
                           private PresentationReader::Listener,
                           private EncodingThread::Listener {
public:
    TranscodeRun(TranscodeJob job, ComPtr<IMFMediaEventQueue> events,
                 ComPtr<PresentationClock> clock);

    HRESULT Prepare() { return encoder_.Start(); }
    HRESULT Start();
    void Close();
    // Waits for the encoding thread, and so for the samples that wait (one of each track) and the
    // end of the file. The work items that are in the source at the moment are not waited for: the
    // source may keep them until its owner gives it a frame, an end or a shutdown, which the owner
    // is free to do before this call or after it.
    void Shutdown();

private:
    void OnStarted(HRESULT result) override;
    void OnSample(std::size_t track, ComPtr<IMFSample> sample) override;
    void OnPresentationEnded() override;
    void OnSourceFailed(HRESULT result) override;
    void OnSampleRefused(std::size_t track) override;
    void OnSampleDone(std::size_t track) override;
    void OnFileEnded(HRESULT result) override;

    void Fail(HRESULT result, MediaEventType event);
    // With the lock, so that events come in the order of what they report.
    void Report(MediaEventType type, HRESULT status) REQUIRES(lock_);

    const std::vector<TranscodeTrack> tracks_;
    const ComPtr<IMFMediaEventQueue> events_;
    const ComPtr<PresentationClock> clock_;
    const ComPtr<PresentationReader> reader_;
    const bool live_;

    // Taken before the locks of the encoding thread and of the event queue.
    Mutex lock_;
    bool started_ GUARDED_BY(lock_) = false;
    bool closing_ GUARDED_BY(lock_) = false;
    bool presentation_ended_ GUARDED_BY(lock_) = false;
    bool file_ended_ GUARDED_BY(lock_) = false;
    HRESULT failure_ GUARDED_BY(lock_) = S_OK;  // of the source
    MediaEventType failure_event_ GUARDED_BY(lock_) = MEError;

    EncodingThread encoder_;  // ends before what it uses
};

}  // namespace Vimbrel

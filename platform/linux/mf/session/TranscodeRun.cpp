#include "platform/linux/mf/session/TranscodeRun.h"

#include <mfapi.h>
#include <mferror.h>

namespace Vimbrel {

namespace {

std::vector<DWORD> StreamsOf(const TranscodeJob& job) {
    std::vector<DWORD> streams;
    for (const TranscodeTrack& track : job.tracks) streams.push_back(track.stream);
    return streams;
}

}  // namespace

TranscodeRun::TranscodeRun(TranscodeJob job, ComPtr<IMFMediaEventQueue> events,
                           ComPtr<PresentationClock> clock)
    : tracks_(job.tracks),
      events_(std::move(events)),
      clock_(std::move(clock)),
      reader_(MakeCom<PresentationReader>(job.source, job.presentation, StreamsOf(job))),
      live_(job.live),
      encoder_(std::move(job.pipeline), *this) {}

HRESULT TranscodeRun::Start() {
    {
        const MutexLock guard(lock_);
        if (started_) return S_OK;
        started_ = true;
    }
    // Also after Close: whoever waits for the source to begin is not to wait in vain.
    return reader_->Start(ComPtr<IUnknown>(this), *this);
}

void TranscodeRun::Close() {
    const MutexLock guard(lock_);
    if (closing_) return;
    closing_ = true;
    if (file_ended_) {
        Report(MESessionClosed, S_OK);
    } else {
        encoder_.End();
    }
}

void TranscodeRun::Shutdown() {
    reader_->Detach();
    encoder_.Join();
}

void TranscodeRun::OnStarted(HRESULT result) {
    if (FAILED(result)) return Fail(result, MESessionStarted);
    const MutexLock guard(lock_);
    if (closing_ || file_ended_ || FAILED(failure_)) return;
    clock_->Start();
    Report(MESessionStarted, S_OK);
}

void TranscodeRun::OnSample(std::size_t track, ComPtr<IMFSample> sample) {
    encoder_.Push(track, tracks_[track].video, std::move(sample));
}

// An event without a failure: only the sample is lost.
void TranscodeRun::OnSampleRefused(std::size_t track) {
    const GUID& medium = tracks_[track].video ? MFMediaType_Video : MFMediaType_Audio;
    const MutexLock guard(lock_);
    events_->QueueEventParamVar(MENonFatalError, medium, S_OK, nullptr);
}

void TranscodeRun::OnSampleDone(std::size_t track) {
    {
        const MutexLock guard(lock_);
        // Frames of a live source come whether somebody takes them or not. When the file is ended
        // they are taken and dropped, as the source would collect them otherwise.
        if ((closing_ || file_ended_ || FAILED(failure_)) && !live_) return;
    }
    reader_->Request(track);
}

void TranscodeRun::OnPresentationEnded() {
    const MutexLock guard(lock_);
    presentation_ended_ = true;
    encoder_.End();
}

void TranscodeRun::OnSourceFailed(HRESULT result) { Fail(result, MEError); }

// The file is ended first; then the failure is told.
void TranscodeRun::Fail(HRESULT result, MediaEventType event) {
    const MutexLock guard(lock_);
    if (FAILED(failure_) || presentation_ended_ || closing_ || file_ended_) return;
    failure_ = result;
    failure_event_ = event;
    encoder_.End();
}

void TranscodeRun::OnFileEnded(HRESULT result) {
    const MutexLock guard(lock_);
    file_ended_ = true;
    clock_->Stop();
    bool told = true;
    if (FAILED(failure_)) {
        Report(failure_event_, failure_);
    } else if (presentation_ended_) {
        Report(MESessionEnded, result);
    } else if (!closing_) {
        Report(MEError, result);
    } else {
        told = false;
    }
    if (closing_) Report(MESessionClosed, told ? S_OK : result);
}

void TranscodeRun::Report(MediaEventType type, HRESULT status) {
    // Somebody may wait for this event for ever. Without memory for it the queue ends, which fails
    // the listener's request.
    if (FAILED(events_->QueueEventParamVar(type, GUID_NULL, status, nullptr))) events_->Shutdown();
}

}  // namespace Vimbrel

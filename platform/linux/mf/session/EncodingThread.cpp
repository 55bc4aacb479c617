#include "platform/linux/mf/session/EncodingThread.h"

#include <mferror.h>

#include <exception>
#include <new>

#include "vimbrel/AppLog.h"

namespace Vimbrel {

EncodingThread::EncodingThread(std::unique_ptr<TranscodePipeline> pipeline, Listener& listener)
    : pipeline_(std::move(pipeline)), listener_(listener) {}

EncodingThread::~EncodingThread() {
    Join();
    if (pipeline_) pipeline_->Finish();  // the thread could not be started
}

HRESULT EncodingThread::Start() {
    const MutexLock guard(join_lock_);
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void EncodingThread::Push(std::size_t track, bool video, ComPtr<IMFSample> sample) {
    try {
        const MutexLock guard(lock_);
        if (!ended_) {
            jobs_.push_back({track, video, std::move(sample)});
            wake_.NotifyOne();
            return;
        }
    } catch (const std::bad_alloc&) {
        listener_.OnSampleRefused(track);
    }
    listener_.OnSampleDone(track);
}

void EncodingThread::End() {
    const MutexLock guard(lock_);
    end_ = true;
    wake_.NotifyOne();
}

void EncodingThread::Join() {
    End();
    const MutexLock guard(join_lock_);
    if (thread_.joinable()) thread_.join();
}

void EncodingThread::Run() {
    HRESULT hr = S_OK;
    MutexLock guard(lock_);
    while (SUCCEEDED(hr)) {
        while (!end_ && jobs_.empty()) wake_.Wait(guard);
        if (jobs_.empty()) break;
        Job job = std::move(jobs_.front());
        jobs_.pop_front();
        guard.Unlock();
        hr = Encode(job);
        job.sample.Reset();  // its memory is free for the sample that is asked for now
        listener_.OnSampleDone(job.track);
        guard.Lock();
    }
    guard.Unlock();
    const HRESULT end_result = pipeline_->Finish();
    pipeline_.reset();
    if (SUCCEEDED(hr)) hr = end_result;
    std::list<Job> left;
    guard.Lock();
    ended_ = true;
    left.swap(jobs_);
    guard.Unlock();
    listener_.OnFileEnded(hr);
    for (const Job& job : left) listener_.OnSampleDone(job.track);
}

// What a sample is refused for does not end the recording: later ones may be good.
HRESULT EncodingThread::Encode(const Job& job) {
    ComPtr<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    DWORD size = 0;
    LONGLONG time = 0;
    LONGLONG duration = 0;
    HRESULT hr = job.sample->GetSampleTime(&time);
    if (SUCCEEDED(hr)) hr = job.sample->ConvertToContiguousBuffer(buffer.Put());
    if (SUCCEEDED(hr)) hr = buffer->Lock(&data, nullptr, &size);
    if (SUCCEEDED(hr)) {
        if (FAILED(job.sample->GetSampleDuration(&duration))) duration = 0;
        hr = job.video ? pipeline_->WriteVideo(data, size, time, duration)
                       : pipeline_->WriteAudio(data, size, time, duration);
        buffer->Unlock();
        if (FAILED(hr) && hr != E_INVALIDARG) return hr;
    }
    if (FAILED(hr)) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE,
                      "media session: a sample of %s left out: %u bytes at %lld - 0x%08X",
                      job.video ? "picture" : "sound", size, static_cast<long long>(time),
                      static_cast<unsigned>(hr));
        listener_.OnSampleRefused(job.track);
    }
    return S_OK;
}

}  // namespace Vimbrel

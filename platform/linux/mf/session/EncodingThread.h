// The thread on which a session encodes and writes.
#pragma once

#include <mfobjects.h>

#include <list>
#include <memory>
#include <thread>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "platform/linux/mf/session/TranscodePipeline.h"

namespace Vimbrel {

class EncodingThread {
public:
    // Called without a lock, on the thread, and the first two on that of Push too. None may wait
    // for anything, or throw.
    class Listener {
    public:
        // A sample was left out of the file. OnSampleDone follows.
        virtual void OnSampleRefused(std::size_t track) = 0;
        // A sample was encoded, or left out, or dropped because the file is ended.
        virtual void OnSampleDone(std::size_t track) = 0;
        // Once. A failure is the first of encoders and file.
        virtual void OnFileEnded(HRESULT result) = 0;

    protected:
        ~Listener() = default;
    };

    EncodingThread(std::unique_ptr<TranscodePipeline> pipeline, Listener& listener);
    // Ends the file, and returns when that is done.
    ~EncodingThread();
    EncodingThread(const EncodingThread&) = delete;
    EncodingThread& operator=(const EncodingThread&) = delete;

    // E_OUTOFMEMORY if there is no thread to be had.
    HRESULT Start();
    // Without memory for it the sample is left out.
    void Push(std::size_t track, bool video, ComPtr<IMFSample> sample);
    // Ends the file behind the samples that wait.
    void End();
    // Ends the file and waits. It takes as long as those samples and the end of the file need; the
    // source has no part in it.
    void Join();

private:
    struct Job {
        std::size_t track;
        bool video;
        ComPtr<IMFSample> sample;
    };

    void Run();
    HRESULT Encode(const Job& job);

    std::unique_ptr<TranscodePipeline> pipeline_;  // of the thread from Start to Join
    Listener& listener_;
    Mutex lock_;
    Condition wake_;
    // At most one of each track: the next is asked for when one is done. A list, since an empty
    // deque takes memory, which the thread may not have at its end.
    std::list<Job> jobs_ GUARDED_BY(lock_);
    bool end_ GUARDED_BY(lock_) = false;
    bool ended_ GUARDED_BY(lock_) = false;
    Mutex join_lock_;
    std::thread thread_ GUARDED_BY(join_lock_);
};

}  // namespace Vimbrel

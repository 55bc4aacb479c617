#include "platform/linux/mf/queue/MediaPlatform.h"
#include "base/ThreadSafety.h"

#include <mfapi.h>

#include <new>

namespace Vimbrel {

namespace {

struct Platform {
    Mutex lock;
    ULONG startups GUARDED_BY(lock) = 0;
    std::shared_ptr<WorkQueue> queue GUARDED_BY(lock);
};

// Never destroyed: threads may outlive main.
Platform& ThePlatform() {
    static Platform* const platform = new Platform;
    return *platform;
}

}  // namespace

std::shared_ptr<WorkQueue> StandardWorkQueue() {
    Platform& platform = ThePlatform();
    const MutexLock guard(platform.lock);
    return platform.queue;
}

HRESULT InvokeOnWorkQueue(ComPtr<AsyncResult> result) {
    const std::shared_ptr<WorkQueue> queue = StandardWorkQueue();
    return queue ? queue->Put(std::move(result)) : MF_E_SHUTDOWN;
}

}  // namespace Vimbrel

using namespace Vimbrel;

extern "C" {

HRESULT WINAPI MFStartup(ULONG version, DWORD) try {
    if (version != MF_VERSION) return MF_E_BAD_STARTUP_VERSION;
    Platform& platform = ThePlatform();
    const MutexLock guard(platform.lock);
    if (platform.startups++ == 0)
        platform.queue = std::make_shared<WorkQueue>(WorkQueue::most_threads, WorkQueue::idle_time);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT WINAPI MFShutdown() {
    Platform& platform = ThePlatform();
    std::shared_ptr<WorkQueue> queue;
    {
        const MutexLock guard(platform.lock);
        if (platform.startups == 0) return E_FAIL;
        if (--platform.startups == 0) queue = std::move(platform.queue);
    }
    // Without the lock, as the items that are left may call anything. A MFStartup meanwhile makes a
    // queue of its own.
    if (queue) queue->Close();
    return S_OK;
}

HRESULT WINAPI MFPutWorkItem(DWORD queue, IMFAsyncCallback* callback, IUnknown* state) try {
    if (!callback) return E_POINTER;
    if (queue != MFASYNC_CALLBACK_QUEUE_STANDARD) return MF_E_INVALID_WORKQUEUE;
    return InvokeOnWorkQueue(MakeCom<AsyncResult>(nullptr, callback, state));
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // extern "C"

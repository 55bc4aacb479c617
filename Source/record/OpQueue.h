// A queue of operations that run one at a time on the platform's work queue.
#pragma once

#include <mfapi.h>
#include <mfidl.h>
#include <windows.h>

#include "base/CriticalSectionLock.h"
#include "com/AsyncCallback.h"
#include "com/ComPtr.h"
#include "com/ComPtrList.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
template <class Op>
class OpQueue : public IUnknown {
public:
    OpQueue(const OpQueue&) = delete;
    OpQueue& operator=(const OpQueue&) = delete;

    HRESULT QueueOperation(Op* operation) {
        const CriticalSectionLock lock(critical_section);
        const HRESULT hr = queue.PushBack(operation);
        return SUCCEEDED(hr) ? ProcessQueue() : hr;
    }

protected:
    // The section belongs to the owner and guards the queue. It is held throughout
    // ValidateOperation and DispatchOperation.
    explicit OpQueue(CriticalSection& section)
        : critical_section(section), on_process_queue(this, &OpQueue::ProcessQueueAsync) {}

    virtual HRESULT DispatchOperation(Op* operation) REQUIRES(critical_section) = 0;
    // A failure leaves the operation at the head of the queue until ProcessQueue is called again.
    virtual HRESULT ValidateOperation(Op* operation) REQUIRES(critical_section) = 0;
    virtual ~OpQueue() = default;

    // Has the next operation run, if there is one.
    HRESULT ProcessQueue() REQUIRES(critical_section) {
        if (queue.IsEmpty()) return S_OK;
        return MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, &on_process_queue, nullptr);
    }

    HRESULT ProcessQueueAsync(IMFAsyncResult*) {
        const CriticalSectionLock lock(critical_section);
        ComPtr<Op> operation;
        if (queue.IsEmpty() || FAILED(queue.Front(operation.Put()))) return S_OK;
        const HRESULT hr = ValidateOperation(operation.Get());
        if (FAILED(hr)) return hr;
        queue.PopFront(operation.Put());
        return DispatchOperation(operation.Get());
    }

    CriticalSection& critical_section;
    ComPtrList<Op, false> queue GUARDED_BY(critical_section);

private:
    AsyncCallback<OpQueue> on_process_queue;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

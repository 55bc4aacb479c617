// What stands between MFStartup and MFShutdown.
#pragma once

#include <memory>

#include "platform/linux/mf/queue/WorkQueue.h"

namespace Vimbrel {

// The standard work queue; null while nothing has started it.
std::shared_ptr<WorkQueue> StandardWorkQueue();

// Puts the result's callback on the standard queue. MF_E_SHUTDOWN while nothing has started it.
HRESULT InvokeOnWorkQueue(ComPtr<AsyncResult> result);

}  // namespace Vimbrel

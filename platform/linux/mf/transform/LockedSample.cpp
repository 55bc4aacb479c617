#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

LockedSample::LockedSample(IMFSample* sample) {
    result_ = sample ? sample->ConvertToContiguousBuffer(buffer_.Put()) : E_POINTER;
    if (SUCCEEDED(result_)) result_ = buffer_->Lock(&data_, &capacity_, &length_);
    if (FAILED(result_)) buffer_.Reset();
}

LockedSample::~LockedSample() {
    if (buffer_) buffer_->Unlock();
}

}  // namespace Vimbrel

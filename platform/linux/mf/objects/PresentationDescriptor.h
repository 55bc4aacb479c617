// The streams of a source and which of them are selected.
#pragma once

#include <mfidl.h>

#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/objects/AttributesObject.h"

namespace Vimbrel {

class PresentationDescriptor final
    : public AttributesObject<Implements<IMFPresentationDescriptor, IMFAttributes>> {
public:
    struct Stream {
        ComPtr<IMFStreamDescriptor> descriptor;
        bool selected = false;
    };
    explicit PresentationDescriptor(std::vector<Stream> streams) : streams_(std::move(streams)) {}

    HRESULT STDMETHODCALLTYPE GetStreamDescriptorCount(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetStreamDescriptorByIndex(DWORD index, BOOL* selected,
                                                         IMFStreamDescriptor** descriptor) override;
    HRESULT STDMETHODCALLTYPE SelectStream(DWORD index) override { return Select(index, true); }
    HRESULT STDMETHODCALLTYPE DeselectStream(DWORD index) override { return Select(index, false); }
    HRESULT STDMETHODCALLTYPE Clone(IMFPresentationDescriptor** copy) override;

private:
    HRESULT Select(DWORD index, bool selected);

    Mutex lock_;
    std::vector<Stream> streams_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

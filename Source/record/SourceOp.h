// What a source is asked to do, in the queue of its operations.
#pragma once

#include <mfidl.h>
#include <propidl.h>

#include "com/ComPtr.h"
#include "com/RefCountedObject.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class SourceOp : public RefCountedObject, public IUnknown {
public:
    enum Operation : std::int32_t {
        OP_START = 0,
        OP_PAUSE = 1,
        OP_STOP = 2,
        OP_REQUEST_DATA = 3,
        OP_END_OF_STREAM = 4,
    };

    explicit SourceOp(Operation operation);
    ~SourceOp() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return RefCountedObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return RefCountedObject::Release(); }

    Operation Op() const { return op; }
    const PROPVARIANT& Data() const { return data; }
    // Copies the value.
    HRESULT SetData(const PROPVARIANT& value);

private:
    const Operation op;
    PROPVARIANT data;
};
#pragma GCC diagnostic pop

// `data` is the position to start at.
class StartOp final : public SourceOp {
public:
    explicit StartOp(IMFPresentationDescriptor* descriptor)
        : SourceOp(OP_START), presentation_descriptor(descriptor) {}

    IMFPresentationDescriptor* PresentationDescriptor() const {
        return presentation_descriptor.Get();
    }

private:
    ComPtr<IMFPresentationDescriptor> presentation_descriptor;
};

}  // namespace Vimbrel

// The two pins of a transform that works in the memory of its samples.
#pragma once

#include "filters/InputPin.h"
#include "filters/OutputPin.h"
#include "filters/PosPassThru.h"

namespace Vimbrel {

class CTransInPlaceFilter;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Accepts what both the filter and the pin downstream accept.
class TransInPlaceInput final : public CBaseInputPin {
public:
    explicit TransInPlaceInput(CTransInPlaceFilter& filter);

    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;
    // Downstream's, so that both sides use one memory.
    HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) override;
    HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL read_only) override;
    HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override;
    void Connected() override;
    // The checks of a sample, and its type.
    HRESULT Accept(IMediaSample* sample) { return CBaseInputPin::Receive(sample); }

private:
    CTransInPlaceFilter& filter_;
};

class TransInPlaceOutput final : public CBaseOutputPin {
public:
    explicit TransInPlaceOutput(CTransInPlaceFilter& filter);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    HRESULT DecideAllocator(IMemInputPin* receiver, ComPtr<IMemAllocator>& allocator) override;
    // Chooses anew, for another allocator of the input.
    HRESULT FollowInput();

    IMemInputPin* Downstream() const { return Receiver(); }
    // Samples are read-only to the filter, which changes them: it delivers copies.
    bool Copies() const { return copies_; }

protected:
    void* FindInterface(REFIID iid) override;

private:
    CTransInPlaceFilter& filter_;
    CPosPassThru positions_;
    bool copies_ = false;  // written only while stopped
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

// The delivering end of a connection through memory.
#pragma once

#include "filters/BasePin.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(CBaseFilter& filter, std::wstring name)
        : CBasePin(filter, PINDIR_OUTPUT, std::move(name)) {}

    HRESULT CompleteConnect(IPin* pin) override;
    void BreakConnect() override;
    HRESULT Active() override;
    void Inactive() override;

    // Sets what is needed of `allocator`; `properties` come with what the receiver wants.
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator,
                                     ALLOCATOR_PROPERTIES* properties) = 0;
    // Chooses the allocator and tells the receiver. First the receiver's, then one of its own.
    virtual HRESULT DecideAllocator(IMemInputPin* receiver, ComPtr<IMemAllocator>& allocator);

    // On the streaming thread; VFW_E_NOT_CONNECTED without a receiver.
    HRESULT GetDeliveryBuffer(IMediaSample** sample, DWORD flags = 0);
    HRESULT Deliver(IMediaSample* sample);
    HRESULT DeliverEndOfStream();
    HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);
    // On a control thread.
    HRESULT DeliverBeginFlush();
    HRESULT DeliverEndFlush();

    IMemAllocator* Allocator() const { return allocator_.Get(); }

protected:
    ~CBaseOutputPin() = default;

    IMemInputPin* Receiver() const { return receiver_.Get(); }
    // While stopped, once more.
    HRESULT ChooseAllocator() { return DecideAllocator(receiver_.Get(), allocator_); }

private:
    // Written only while the filter is stopped, when no streaming thread exists: read without a
    // lock.
    ComPtr<IMemInputPin> receiver_;
    ComPtr<IMemAllocator> allocator_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

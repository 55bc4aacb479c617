// The receiving end of a connection through memory.
#pragma once

#include <atomic>

#include "filters/BasePin.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    CBaseInputPin(CBaseFilter& filter, std::wstring name)
        : CBasePin(filter, PINDIR_INPUT, std::move(name)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return CBasePin::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return CBasePin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CBasePin::Release(); }

    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;

    HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) override;
    HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL read_only) override;
    HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    // The checks that every receiver begins with, and the type that comes with a sample: that
    // reaches SetMediaType. S_OK if the sample may be used, S_FALSE while flushing.
    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, LONG count,
                                              LONG* processed) override;
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

    void BreakConnect() override;
    void Inactive() override;

    REFERENCE_TIME SegmentStart() const { return segment_start_; }
    REFERENCE_TIME SegmentStop() const { return segment_stop_; }
    double SegmentRate() const { return segment_rate_; }
    bool IsFlushing() const { return flushing_; }
    bool IsReadOnly() const { return read_only_; }
    ComPtr<IMemAllocator> Allocator();

protected:
    ~CBaseInputPin() = default;

    void* FindInterface(REFIID iid) override;
    HRESULT CheckStreaming();
    // Ends a stream whose new type was refused, on the streaming thread within Receive.
    virtual HRESULT EndRefused() { return EndOfStream(); }

private:
    std::atomic<bool> flushing_{false};
    std::atomic<bool> read_only_{false};
    std::atomic<REFERENCE_TIME> segment_start_{0};
    std::atomic<REFERENCE_TIME> segment_stop_{0};
    std::atomic<double> segment_rate_{1.0};
    Mutex allocator_lock_;
    ComPtr<IMemAllocator> allocator_ GUARDED_BY(allocator_lock_);
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

// The two pins of a decoder.
#pragma once

#include "filters/InputPin.h"
#include "filters/OutputPin.h"
#include "filters/PosPassThru.h"

namespace Vimbrel {

class DecoderFilter;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class DecoderInput final : public CBaseInputPin {
public:
    explicit DecoderInput(DecoderFilter& filter);

    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    void BreakConnect() override;
    // The checks of a sample, and its type.
    HRESULT Accept(IMediaSample* sample) { return CBaseInputPin::Receive(sample); }
    HRESULT CheckStream() { return CheckStreaming(); }

protected:
    // The filter's Receive holds the lock that its EndOfStream takes.
    HRESULT EndRefused() override;

private:
    DecoderFilter& filter_;
};

class DecoderOutput final : public CBaseOutputPin {
public:
    explicit DecoderOutput(DecoderFilter& filter);

    HRESULT CheckMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    HRESULT Send(IMediaSample* sample) { return Deliver(sample); }

protected:
    void* FindInterface(REFIID iid) override;

private:
    DecoderFilter& filter_;
    CPosPassThru positions_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

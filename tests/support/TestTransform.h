// A transform and a streaming source for tests of graphs.
#pragma once

#include "filters/InputPin.h"
#include "tests/support/GraphKit.h"

namespace Vimbrel::test {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Takes one subtype and offers a type of another; samples pass as they are.
class TestTransform final : public CBaseFilter {
public:
    TestTransform(REFGUID accepts, const CMediaType& offers)
        : CBaseFilter(GUID_NULL), accepted(accepts), output(*this), input(*this) {
        output.type = offers;
        ++alive;
    }
    ~TestTransform() override { --alive; }
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override {
        return index == 0 ? static_cast<CBasePin*>(&input) : &output;
    }

    class Output final : public CBaseOutputPin {
    public:
        explicit Output(TestTransform& owner) : CBaseOutputPin(owner, L"Out") {}
        HRESULT CheckMediaType(const CMediaType* checked) override {
            return checked->subtype == type.subtype ? S_OK : E_INVALIDARG;
        }
        std::vector<CMediaType> OfferedTypes() override { return {type}; }
        HRESULT DecideBufferSize(IMemAllocator* allocator,
                                 ALLOCATOR_PROPERTIES* properties) override {
            properties->cBuffers = 1;
            properties->cbBuffer = 64;
            ALLOCATOR_PROPERTIES actual{};
            return allocator->SetProperties(properties, &actual);
        }
        CMediaType type;
    };
    class Input final : public CBaseInputPin {
    public:
        explicit Input(TestTransform& owner) : CBaseInputPin(owner, L"In"), transform(owner) {}
        HRESULT CheckMediaType(const CMediaType* type) override {
            return type->subtype == transform.accepted ? S_OK : E_INVALIDARG;
        }
        HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override {
            const HRESULT hr = CBaseInputPin::Receive(sample);
            return hr == S_OK ? transform.output.Deliver(sample) : hr;
        }
        HRESULT STDMETHODCALLTYPE EndOfStream() override {
            return transform.output.DeliverEndOfStream();
        }
        HRESULT STDMETHODCALLTYPE BeginFlush() override {
            CBaseInputPin::BeginFlush();
            return transform.output.DeliverBeginFlush();
        }
        HRESULT STDMETHODCALLTYPE EndFlush() override {
            transform.output.DeliverEndFlush();
            return CBaseInputPin::EndFlush();
        }

    private:
        TestTransform& transform;
    };

    const GUID accepted;
    Output output;
    Input input;
    inline static std::atomic<int> alive{0};
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel::test

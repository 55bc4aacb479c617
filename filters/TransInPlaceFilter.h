// A filter with one input and one output that works in the memory of its samples.
#pragma once

#include "filters/BaseFilter.h"
#include "filters/TransInPlacePins.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Passes types, allocators, positions, segments and ends through. A connection with another type
// than that of the other side makes the graph connect the other side anew.
class CTransInPlaceFilter : public CBaseFilter {
public:
    // Frees the streaming thread and waits until it has left.
    HRESULT STDMETHODCALLTYPE Stop() override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override;

    virtual HRESULT CheckInputType(const CMediaType* type) = 0;
    // On the streaming thread. S_FALSE: the sample goes no further.
    virtual HRESULT Transform(IMediaSample* sample) = 0;
    virtual HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* type);
    // After a flush, when no streaming thread is in the filter.
    virtual HRESULT EndFlush();

    // What the pins pass on.
    HRESULT Receive(IMediaSample* sample);
    HRESULT FinishFlush();
    void Reconnect(IPin& pin, const CMediaType& type);

    TransInPlaceInput& Input() { return input_; }
    TransInPlaceOutput& Output() { return output_; }
    bool ModifiesData() const { return modifies_data_; }

protected:
    CTransInPlaceFilter(REFCLSID clsid, bool modifies_data);
    ~CTransInPlaceFilter() override = default;

private:
    HRESULT Copy(IMediaSample& source, ComPtr<IMediaSample>& copy);

    const bool modifies_data_;
    TransInPlaceInput input_;
    TransInPlaceOutput output_;
    // Held while a sample passes, delivery included: a control thread takes it only after a flush
    // or a stop has freed the streaming thread.
    Mutex receive_lock_ ACQUIRED_AFTER(state_lock_);
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

#include "filters/TransInPlaceFilter.h"

#include <cstring>

namespace Vimbrel {

CTransInPlaceFilter::CTransInPlaceFilter(REFCLSID clsid, bool modifies_data)
    : CBaseFilter(clsid), modifies_data_(modifies_data), input_(*this), output_(*this) {}

CBasePin* CTransInPlaceFilter::GetPin(int index) {
    if (index == 0) return &input_;
    return index == 1 ? &output_ : nullptr;
}

HRESULT STDMETHODCALLTYPE CTransInPlaceFilter::Stop() {
    const HRESULT hr = CBaseFilter::Stop();
    const MutexLock gone(receive_lock_);
    return hr;
}

HRESULT CTransInPlaceFilter::SetMediaType(PIN_DIRECTION direction, const CMediaType* type) {
    const bool both = input_.IsConnected() && output_.IsConnected();
    if (both && direction == PINDIR_OUTPUT && State() == State_Stopped &&
        !(input_.ConnectionType() == *type))
        Reconnect(input_, *type);
    return S_OK;
}

void CTransInPlaceFilter::Reconnect(IPin& pin, const CMediaType& type) {
    const ComPtr<IFilterGraph> graph = Graph();
    // Without a graph the two sides keep their types.
    if (const ComPtr<IFilterGraph2> builder = graph.As<IFilterGraph2>())
        builder->ReconnectEx(&pin, &type);
}

HRESULT CTransInPlaceFilter::Receive(IMediaSample* sample) {
    const MutexLock guard(receive_lock_);
    HRESULT hr = input_.Accept(sample);
    if (hr != S_OK) return hr;
    ComPtr<IMediaSample> copy;
    if (output_.Copies()) {
        hr = Copy(*sample, copy);
        if (FAILED(hr)) return hr;
        sample = copy.Get();
    }
    hr = Transform(sample);
    if (hr == S_FALSE) return S_OK;
    return FAILED(hr) ? hr : output_.Deliver(sample);
}

HRESULT CTransInPlaceFilter::Copy(IMediaSample& source, ComPtr<IMediaSample>& copy) {
    HRESULT hr = output_.GetDeliveryBuffer(copy.Put());
    if (FAILED(hr)) return hr;
    const LONG length = source.GetActualDataLength();
    hr = copy->SetActualDataLength(length);
    if (FAILED(hr)) return hr;
    BYTE* from = nullptr;
    BYTE* to = nullptr;
    source.GetPointer(&from);
    copy->GetPointer(&to);
    if (from && to) std::memcpy(to, from, static_cast<std::size_t>(length));
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    hr = source.GetTime(&start, &end);
    if (SUCCEEDED(hr)) copy->SetTime(&start, hr == S_OK ? &end : nullptr);
    copy->SetSyncPoint(source.IsSyncPoint() == S_OK);
    copy->SetPreroll(source.IsPreroll() == S_OK);
    copy->SetDiscontinuity(source.IsDiscontinuity() == S_OK);
    AM_MEDIA_TYPE* type = nullptr;
    if (source.GetMediaType(&type) == S_OK) copy->SetMediaType(type);
    DeleteMediaType(type);
    return S_OK;
}

HRESULT CTransInPlaceFilter::EndFlush() { return output_.DeliverEndFlush(); }

HRESULT CTransInPlaceFilter::FinishFlush() {
    const MutexLock gone(receive_lock_);
    return EndFlush();
}

}  // namespace Vimbrel

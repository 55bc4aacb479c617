#include "filters/BasePin.h"

#include <cstring>
#include <utility>

#include "filters/BaseFilter.h"
#include "filters/Enumerators.h"

namespace Vimbrel {

CBasePin::CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, std::wstring name)
    : filter_(filter), direction_(direction), name_(std::move(name)) {}

HRESULT STDMETHODCALLTYPE CBasePin::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = FindInterface(iid);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

void* CBasePin::FindInterface(REFIID iid) {
    const bool own = iid == __uuidof(IUnknown) || iid == __uuidof(IPin);
    return own ? static_cast<IPin*>(this) : nullptr;
}

ULONG STDMETHODCALLTYPE CBasePin::AddRef() { return filter_.AddRef(); }
ULONG STDMETHODCALLTYPE CBasePin::Release() { return filter_.Release(); }

ComPtr<IPin> CBasePin::Peer() {
    const MutexLock guard(connection_lock_);
    return peer_;
}

CMediaType CBasePin::ConnectionType() {
    const MutexLock guard(connection_lock_);
    return type_;
}

HRESULT CBasePin::CheckFree() {
    if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
    return filter_.State() == State_Stopped ? S_OK : VFW_E_NOT_STOPPED;
}

HRESULT STDMETHODCALLTYPE CBasePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    if (!receiver) return E_POINTER;
    HRESULT hr = CheckFree();
    if (SUCCEEDED(hr)) hr = CheckConnect(receiver);
    if (FAILED(hr)) return hr;
    const CMediaType wanted = type ? CMediaType(*type) : CMediaType();
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    if (type && !wanted.IsPartial()) {
        result = TryConnection(*receiver, wanted);
    } else {
        std::vector<CMediaType> candidates = TypesOf(*receiver);
        for (CMediaType& own : OfferedTypes()) candidates.push_back(own);
        for (const CMediaType& each : candidates) {
            if (type && !each.Matches(wanted)) continue;
            hr = TryConnection(*receiver, each);
            if (SUCCEEDED(hr)) {
                result = hr;
                break;
            }
            // A refusal says no more than that no type fits; other failures are worth reporting.
            if (hr != E_FAIL && hr != E_INVALIDARG && hr != VFW_E_TYPE_NOT_ACCEPTED) result = hr;
        }
    }
    if (SUCCEEDED(result)) Connected();
    return result;
}

HRESULT CBasePin::TryConnection(IPin& receiver, const CMediaType& type) {
    HRESULT hr = CheckMediaType(&type);
    if (hr != S_OK) return FAILED(hr) ? hr : VFW_E_TYPE_NOT_ACCEPTED;
    {
        const MutexLock guard(connection_lock_);
        peer_ = ComPtr<IPin>(&receiver);
    }
    hr = SetMediaType(&type);
    if (SUCCEEDED(hr)) hr = receiver.ReceiveConnection(this, &type);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(&receiver);
        if (SUCCEEDED(hr)) return hr;
        receiver.Disconnect();
    }
    Forget();
    return hr;
}

HRESULT STDMETHODCALLTYPE CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type) return E_POINTER;
    HRESULT hr = CheckFree();
    if (SUCCEEDED(hr)) hr = CheckConnect(connector);
    if (FAILED(hr)) return hr;
    const CMediaType offered(*type);
    hr = CheckMediaType(&offered);
    if (hr != S_OK) {
        // A special failure of the type is passed on, a general one replaced by a word for it.
        return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
    }
    {
        const MutexLock guard(connection_lock_);
        peer_ = ComPtr<IPin>(connector);
    }
    hr = SetMediaType(&offered);
    if (SUCCEEDED(hr)) hr = CompleteConnect(connector);
    if (FAILED(hr)) {
        Forget();
        return hr;
    }
    Connected();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::Disconnect() {
    if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!IsConnected()) return S_FALSE;
    Forget();
    return S_OK;
}

void CBasePin::Forget() {
    BreakConnect();
    ComPtr<IPin> released;
    const MutexLock guard(connection_lock_);
    std::swap(released, peer_);
    type_ = CMediaType();
}

HRESULT STDMETHODCALLTYPE CBasePin::ConnectedTo(IPin** pin) {
    if (!pin) return E_POINTER;
    const ComPtr<IPin> peer = Peer();
    peer.CopyTo(pin);
    return peer ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT STDMETHODCALLTYPE CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    const MutexLock guard(connection_lock_);
    if (peer_) return CopyMediaType(*type, type_);
    *type = {};
    return VFW_E_NOT_CONNECTED;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryPinInfo(PIN_INFO* info) {
    if (!info) return E_POINTER;
    info->pFilter = &filter_;
    info->pFilter->AddRef();
    info->dir = direction_;
    CopyName(info->achName, name_);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction) return E_POINTER;
    *direction = direction_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryId(LPWSTR* id) {
    if (!id) return E_POINTER;
    const std::size_t size = (name_.size() + 1) * sizeof(WCHAR);
    *id = static_cast<LPWSTR>(CoTaskMemAlloc(size));
    if (!*id) return E_OUTOFMEMORY;
    std::memcpy(*id, name_.c_str(), size);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    const CMediaType asked(*type);
    return CheckMediaType(&asked) == S_OK ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CBasePin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
    if (!enumerator) return E_POINTER;
    *enumerator = MakeCom<MediaTypeEnumerator>(OfferedTypes()).Detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }
HRESULT STDMETHODCALLTYPE CBasePin::EndOfStream() { return E_UNEXPECTED; }
HRESULT STDMETHODCALLTYPE CBasePin::BeginFlush() { return E_UNEXPECTED; }
HRESULT STDMETHODCALLTYPE CBasePin::EndFlush() { return E_UNEXPECTED; }
HRESULT STDMETHODCALLTYPE CBasePin::NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) {
    return S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* type) {
    const CMediaType copy(*type);
    const MutexLock guard(connection_lock_);
    return type_.Set(copy);
}

std::vector<CMediaType> CBasePin::OfferedTypes() { return {}; }

HRESULT CBasePin::CheckConnect(IPin* pin) {
    PIN_DIRECTION direction = direction_;
    const HRESULT hr = pin->QueryDirection(&direction);
    if (FAILED(hr)) return hr;
    return direction == direction_ ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) { return S_OK; }
void CBasePin::BreakConnect() {}

}  // namespace Vimbrel

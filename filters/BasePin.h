// Connection of a pin, for both directions.
#pragma once

#include <string>
#include <vector>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/MediaType.h"

namespace Vimbrel {

class CBaseFilter;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// A member of its filter, whose count it shares. Connections change only while the filter is
// stopped.
class CBasePin : public IPin {
public:
    CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, std::wstring name);
    CBasePin(const CBasePin&) = delete;
    CBasePin& operator=(const CBasePin&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector,
                                                const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE Disconnect() override;
    HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** pin) override;
    HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override;
    HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* direction) override;
    HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** enumerator) override;
    HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin** pins, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;

    // S_OK or a failure; S_FALSE counts as a refusal.
    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    // Keeps the type of the connection. Also called while streaming, on the streaming thread, for a
    // type that comes with a sample.
    virtual HRESULT SetMediaType(const CMediaType* type);
    // The types that the pin offers, best first.
    virtual std::vector<CMediaType> OfferedTypes();
    virtual HRESULT CheckConnect(IPin* pin);
    virtual HRESULT CompleteConnect(IPin* pin);
    virtual void BreakConnect();
    // Runs after a connection stands, when the pin may connect others again.
    virtual void Connected() {}
    // Around streaming, with the filter's state lock held.
    virtual HRESULT Active() { return S_OK; }
    virtual void Inactive() {}

    bool IsConnected() { return static_cast<bool>(Peer()); }
    ComPtr<IPin> Peer();
    CMediaType ConnectionType();
    const std::wstring& Name() const { return name_; }
    CBaseFilter& Filter() const { return filter_; }

protected:
    ~CBasePin() = default;

    virtual void* FindInterface(REFIID iid);

private:
    HRESULT CheckFree();
    HRESULT TryConnection(IPin& receiver, const CMediaType& type);
    void Forget();

    CBaseFilter& filter_;
    const PIN_DIRECTION direction_;
    const std::wstring name_;
    // A leaf: nothing is called while it is held.
    Mutex connection_lock_;
    ComPtr<IPin> peer_ GUARDED_BY(connection_lock_);
    CMediaType type_ GUARDED_BY(connection_lock_);
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

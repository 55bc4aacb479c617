// A media session and its events.
#pragma once

#include <mfidl.h>
#include <windows.h>

#include <atomic>
#include <mutex>

#include "com/ComPtr.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class TranscodeSession : public IMFAsyncCallback {
public:
    // A session of the topology, which listens to its own events.
    static HRESULT Create(IMFTopology* topology, ComPtr<TranscodeSession>& session);

    TranscodeSession(const TranscodeSession&) = delete;
    TranscodeSession& operator=(const TranscodeSession&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetParameters(DWORD* flags, DWORD* queue) override;
    // On a thread of the platform.
    HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override;

    // From the present position. Should the session fail, then or later, `started_event` is
    // signalled in place of who will not do it any more; it must live until Shutdown.
    HRESULT Start(HANDLE started_event);
    // Waits until the session is closed, by its end or by a failure, and keeps the thread's
    // messages flowing.
    void WaitClosed();
    // Ends the session whatever its state, and with it the reference that a session holds on who
    // listens to it.
    void Shutdown();

protected:
    virtual ~TranscodeSession();

private:
    TranscodeSession() = default;
    HRESULT Initialize(IMFTopology* topology);
    HRESULT HandleEvent(IMFAsyncResult* result);
    void SetFailed(HRESULT failure);

    ComPtr<IMFMediaSession> media_session;
    ComPtr<IMFPresentationClock> clock;
    HRESULT status = S_OK;  // of the last failure; guarded by failure_lock
    HANDLE closed_event = nullptr;
    std::atomic<ULONG> reference_count{1};
    std::mutex failure_lock;
    HANDLE started_event = nullptr;  // guarded by failure_lock
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

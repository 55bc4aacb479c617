// A media session and its events.
#pragma once

#include <mfidl.h>
#include <windows.h>

#include <atomic>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class TranscodeSession : public IMFAsyncCallback {
public:
    // Called on a thread of the platform, with a lock: it calls nothing of the session.
    class Listener {
    public:
        // Once or more, now or later.
        virtual void OnSessionFailed() = 0;
        // A sample that the session has taken is not in the file. The session goes on.
        virtual void OnSampleRefused(bool video) = 0;

    protected:
        ~Listener() = default;
    };

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

    // Starts at the current position. `started_event` is also signalled if the session fails before
    // the source starts. Both are used until Shutdown.
    HRESULT Start(HANDLE started_event, Listener& listener);
    // The last failure, or S_OK.
    HRESULT Status();
    // Waits until the session is closed, by its end or by a failure, while pumping the calling
    // thread's messages.
    void WaitClosed();
    // Shuts the session down in any state and drops its reference to the listener.
    void Shutdown();

protected:
    virtual ~TranscodeSession();

private:
    TranscodeSession() = default;
    HRESULT Initialize(IMFTopology* topology);
    HRESULT HandleEvent(IMFAsyncResult* result);
    HRESULT HandleRefusal(IMFMediaEvent& event);
    void SetFailed(HRESULT failure);

    ComPtr<IMFMediaSession> media_session;
    ComPtr<IMFPresentationClock> clock;
    HANDLE closed_event = nullptr;
    std::atomic<ULONG> reference_count{1};
    Mutex failure_lock;
    HRESULT status GUARDED_BY(failure_lock) = S_OK;
    HANDLE started_event GUARDED_BY(failure_lock) = nullptr;
    Listener* listener GUARDED_BY(failure_lock) = nullptr;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

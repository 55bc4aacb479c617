// A source of the sound server as a filter.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "base/ThreadSafety.h"
#include "filters/BaseFilter.h"
#include "platform/linux/ds/device/MicrophonePin.h"
#include "platform/linux/pulse/RecordStream.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// The device is opened when the filter leaves the stopped state, and with a connection of its own,
// so that a server that was started anew serves the next run. Samples come while running, on a
// thread of the filter: their times count from the start of the run, whose absolute time on the
// counter of QueryPerformanceCounter is the start of the segment. When the device goes away,
// samples end with an event.
class Microphone final : public CBaseFilter {
public:
    Microphone(std::string source, DWORD frames_per_second);

    // VFW_S_CANT_CUE while paused: there are no samples then.
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

    // What pin and level pass on.
    HRESULT OpenStream() EXCLUDES(stream_lock_);
    void CloseStream() EXCLUDES(stream_lock_);
    HRESULT ApplyLevel() EXCLUDES(stream_lock_);

protected:
    ~Microphone() override = default;

    void* FindInterface(REFIID iid) override;

private:
    std::shared_ptr<RecordStream> Stream() EXCLUDES(stream_lock_);
    // Tells the thread to end; StopThread waits for that as well.
    void EndThread() EXCLUDES(thread_lock_);
    void StopThread() EXCLUDES(thread_lock_);
    bool IsStopping() EXCLUDES(thread_lock_);
    bool WaitForSound(std::chrono::microseconds time) EXCLUDES(thread_lock_);
    std::chrono::microseconds TimeToFill() const;
    LONGLONG RunStart(REFERENCE_TIME start);
    void Capture(const std::shared_ptr<RecordStream>& stream, LONGLONG run_start);
    HRESULT Drain(RecordStream& stream, LONGLONG run_start);
    HRESULT Append(const BYTE* data, LONG bytes, LONGLONG start);
    HRESULT DeliverFilled();

    const std::string source_;
    MicrophonePin pin_;
    MicrophoneLevel level_;

    Mutex stream_lock_;
    std::shared_ptr<RecordStream> stream_ GUARDED_BY(stream_lock_);

    std::thread thread_;  // of the control thread
    Mutex thread_lock_;
    Condition stopped_;
    bool stopping_ GUARDED_BY(thread_lock_) = false;

    // Of the capture thread: the sample that is being filled, and when it starts.
    ComPtr<IMediaSample> filling_;
    LONG filled_ = 0;  // bytes
    REFERENCE_TIME filling_start_ = 0;
};
#pragma GCC diagnostic pop

HRESULT CreateMicrophone(const std::string& source, DWORD frames_per_second, REFIID iid,
                         void** filter);

}  // namespace Vimbrel

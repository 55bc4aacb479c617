// The output of a capture device: its formats, and the thread that carries its pictures.
#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "base/ThreadSafety.h"
#include "filters/Face.h"
#include "filters/OutputPin.h"
#include "platform/linux/ds/device/CaptureFormats.h"
#include "platform/linux/ds/device/V4l2Device.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// The device streams from the first Run until the filter stops. Pictures that come while it is
// paused are dropped, so that none is late by the pause. Damaged and short ones are dropped too.
class CapturePin final : public CBaseOutputPin {
public:
    CapturePin(CBaseFilter& filter, std::unique_ptr<V4l2Device> device);
    ~CapturePin();

    HRESULT CheckMediaType(const CMediaType* type) override;
    // A device that stands at pixels that nobody takes is set to the first format that it offers.
    HRESULT STDMETHODCALLTYPE Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    // The device's current format alone.
    std::vector<CMediaType> OfferedTypes() override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    void Inactive() override;

    // `start` is the graph's time of stream time 0; without a clock the stream's time goes on from
    // its last picture. Fails for a device that is lost.
    HRESULT Run(REFERENCE_TIME start);
    void Pause() { delivering_ = false; }
    // Why the device is lost, until the filter stops; S_OK for one that is not. Any thread.
    HRESULT Lost() const { return lost_; }

protected:
    void* FindInterface(REFIID iid) override;

private:
    class Config final : public Face<IAMStreamConfig> {
    public:
        explicit Config(CapturePin& pin) : Face(static_cast<IPin&>(pin)), pin_(pin) {}
        // While not connected.
        HRESULT STDMETHODCALLTYPE SetFormat(AM_MEDIA_TYPE* type) override;
        // VFW_E_INVALIDMEDIATYPE if nobody takes the device's current pixels.
        HRESULT STDMETHODCALLTYPE GetFormat(AM_MEDIA_TYPE** type) override;
        HRESULT STDMETHODCALLTYPE GetNumberOfCapabilities(int* count, int* size) override;
        HRESULT STDMETHODCALLTYPE GetStreamCaps(int index, AM_MEDIA_TYPE** type,
                                                BYTE* capability) override;

    private:
        CapturePin& pin_;
    };
    class Category final : public Face<IKsPropertySet> {
    public:
        explicit Category(CapturePin& pin) : Face(static_cast<IPin&>(pin)) {}
        HRESULT STDMETHODCALLTYPE Set(REFGUID set, DWORD id, void* instance, DWORD instance_size,
                                      void* data, DWORD size) override;
        HRESULT STDMETHODCALLTYPE Get(REFGUID set, DWORD id, void* instance, DWORD instance_size,
                                      void* data, DWORD size, DWORD* returned) override;
        HRESULT STDMETHODCALLTYPE QuerySupported(REFGUID set, DWORD id, DWORD* support) override;
    };

    // The capability that a type names; null if there is none.
    const V4l2Format* FindFormat(const AM_MEDIA_TYPE& type) const;
    void Capture();
    HRESULT Carry(const V4l2Picture& picture);
    void Report(HRESULT reason);

    const std::unique_ptr<V4l2Device> device_;
    std::vector<V4l2Format> formats_;  // whose pixels have a type
    V4l2Layout layout_;                // of the current one; written while stopped
    Config config_;
    Category category_;

    std::thread thread_;  // of the control thread
    std::atomic<bool> delivering_{false};
    std::atomic<HRESULT> lost_{S_OK};
    // Monotonic time of the Run after a pause: earlier pictures are of the pause.
    std::atomic<REFERENCE_TIME> resumed_{0};
    // Monotonic time of stream time 0, and the end of the last picture.
    std::atomic<REFERENCE_TIME> base_{0};
    std::atomic<REFERENCE_TIME> last_end_{0};
    // Of the capturing thread.
    bool dropped_ = false;
    bool reported_short_ = false;
    std::uint32_t next_sequence_ = 0;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

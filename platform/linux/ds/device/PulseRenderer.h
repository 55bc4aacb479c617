// The filter that plays sound on a sink of the sound server.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filters/BaseRenderer.h"
#include "platform/linux/pulse/PlaybackStream.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Takes samples somewhat before they are due, and writes each so that it is heard at its time by
// the graph's clock: silence fills gaps, what is late is left out, and small differences are made
// up by a slightly other rate. When the sink or the server is gone it discards by the clock.
class PulseRenderer final : public CBaseRenderer {
public:
    explicit PulseRenderer(std::string sink);

    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT DoRenderSample(IMediaSample* sample) override;
    REFERENCE_TIME Lead() const override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    class Volume final : public DispatchFace<IBasicAudio> {
    public:
        explicit Volume(PulseRenderer& renderer) : DispatchFace<IBasicAudio>(renderer) {}
        HRESULT STDMETHODCALLTYPE put_Volume(LONG volume) override;
        HRESULT STDMETHODCALLTYPE get_Volume(LONG* volume) override;
        HRESULT STDMETHODCALLTYPE put_Balance(LONG balance) override;
        HRESULT STDMETHODCALLTYPE get_Balance(LONG* balance) override;
        LONG Level() const { return level_; }

    private:
        std::atomic<LONG> level_{0};
    };

    HRESULT OpenStream();
    bool IsPlayed(const WAVEFORMATEX& format) const;
    void Lose(HRESULT hr);
    // Moves the place of the next write to where the sample belongs. `skip` are its frames that are
    // too late.
    HRESULT Align(REFERENCE_TIME due, std::size_t& skip);
    void Correct(REFERENCE_TIME error);
    HRESULT WriteSilence(REFERENCE_TIME lasts);
    double PlayedRate() const { return format_.nSamplesPerSec * Input().SegmentRate(); }

    const std::string sink_;
    Volume volume_;
    WAVEFORMATEX format_{};
    std::unique_ptr<PlaybackStream> stream_;  // while connected
    std::atomic<REFERENCE_TIME> start_{0};    // of the run
    std::atomic<bool> lost_{false};
    // Of the streaming thread.
    std::vector<std::uint8_t> scaled_;
    bool aligned_ = false;
    REFERENCE_TIME next_correction_ = 0;
    std::uint32_t set_rate_ = 0;
};
#pragma GCC diagnostic pop

HRESULT CreatePulseRenderer(const std::string& sink, REFIID iid, void** object);

}  // namespace Vimbrel

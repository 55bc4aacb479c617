// The decoder of sound.
#pragma once

#include <atomic>

#include "filters/OutsideInterfaces.h"
#include "platform/linux/ds/file/DecoderFilter.h"
#include "platform/linux/ds/file/LevelMeter.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Delivers 16-bit PCM. Rate and channels stay those of the connection: another stream, or a change
// within one, is converted to them. After a seek the first sample is the one at the target.
class AudioDecoder final : public DecoderFilter {
public:
    AudioDecoder();

    std::vector<CMediaType> OutputTypes() override;
    HRESULT CheckOutput(const CMediaType& type) override;
    HRESULT DecideBuffers(const CMediaType& type, ALLOCATOR_PROPERTIES& properties) override;

protected:
    void* FindInterface(REFIID iid) override;
    bool IsForMe(const CMediaType& type) const override;
    void Prepare(AVCodecContext&) override {}
    void Begin() override;
    HRESULT Deliver(AVFrame& frame) override;

private:
    class Settings final : public Face<IAudioDecoderSettings> {
    public:
        explicit Settings(AudioDecoder& decoder) : Face(decoder) {}
        HRESULT STDMETHODCALLTYPE SetExpandMono(BOOL on) override;
        HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL) override { return S_OK; }
        bool ExpandsMono() const { return expands_mono_; }

    private:
        std::atomic<bool> expands_mono_{false};
    };
    class Status final : public Face<IAudioDecoderStatus> {
    public:
        Status(AudioDecoder& decoder, LevelMeter& meter) : Face(decoder), meter_(meter) {}
        HRESULT STDMETHODCALLTYPE EnableVolumeStatistics() override;
        HRESULT STDMETHODCALLTYPE DisableVolumeStatistics() override;
        HRESULT STDMETHODCALLTYPE GetAverageVolume(WORD channel, float* volume) override;

    private:
        LevelMeter& meter_;
    };

    HRESULT Convert(const AVFrame& frame);
    HRESULT PrepareConversion(const AVFrame& frame);
    // The converted samples from stream time `start` on, without those outside the segment.
    HRESULT Send(REFERENCE_TIME start);
    REFERENCE_TIME Duration(std::int64_t frames) const;
    std::int64_t Frames(REFERENCE_TIME duration) const;

    LevelMeter meter_;
    Settings settings_;
    Status status_;
    int channels_ = 0;  // of the connection
    int rate_ = 0;
    FfmpegPtr<SwrContext> converter_;
    int source_format_ = -1;  // of the converter
    int source_rate_ = 0;
    int source_channels_ = 0;
    std::vector<std::int16_t> samples_;
    std::int64_t frames_ = 0;  // in `samples_`
    REFERENCE_TIME next_start_ = 0;
    bool started_ = false;  // a frame with a time has come since the seek
};
#pragma GCC diagnostic pop

HRESULT CreateAudioDecoder(REFIID iid, void** object);

}  // namespace Vimbrel

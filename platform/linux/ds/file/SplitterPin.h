// An output of the splitter: the chosen stream of one kind.
#pragma once

#include <atomic>
#include <thread>

#include "filters/Face.h"
#include "filters/OutputPin.h"
#include "filters/OutsideInterfaces.h"
#include "platform/linux/ds/file/Demuxer.h"
#include "platform/linux/ds/file/PacketQueue.h"
#include "platform/linux/ds/file/SplitterSeeking.h"

namespace Vimbrel {

class SplitterSource;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// What a run streams: from `start` to `stop` in the media, at `rate`. A stop below 0 is none.
struct Segment {
    LONGLONG start = 0;
    LONGLONG stop = -1;
    double rate = 1.0;
};

class SplitterPin final : public CBaseOutputPin {
public:
    SplitterPin(SplitterSource& source, StreamKind kind, int stream);

    HRESULT CheckMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override;
    // Packets bring their own memory; the allocator is there for the receiver's sake.
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

    StreamKind Kind() const { return kind_; }
    int Stream() const { return stream_; }
    bool ReceiverCanWait() const { return Receiver()->ReceiveCanBlock() != S_FALSE; }
    // Before a run. Its first sample carries the new type.
    void Choose(int stream);

    // Streams what comes in `lane` of the queue, on a thread of its own.
    void Start(PacketQueue& queue, std::size_t lane, const Segment& segment);
    void Join();

protected:
    void* FindInterface(REFIID iid) override;

private:
    class CodecStream final : public Face<ICodecStream> {
    public:
        explicit CodecStream(SplitterPin& pin)
            : Face(static_cast<IPin&>(static_cast<CBasePin&>(pin))), pin_(pin) {}
        StreamDescription Describe() override;

    private:
        SplitterPin& pin_;
    };
    class Bitrate final : public Face<IBitRateInfo> {
    public:
        explicit Bitrate(SplitterPin& pin)
            : Face(static_cast<IPin&>(static_cast<CBasePin&>(pin))) {}
        DWORD STDMETHODCALLTYPE GetCurrentBitRate() override { return current_; }
        DWORD STDMETHODCALLTYPE GetAverageBitRate() override { return average_; }
        void Restart(std::int64_t declared);
        // On the streaming thread.
        void Count(const AVPacket& packet);

    private:
        std::atomic<DWORD> current_{0};
        std::atomic<DWORD> average_{0};
        // Since the run began, and in the second under way.
        std::int64_t bytes_ = 0;
        std::int64_t first_ = AV_NOPTS_VALUE;
        std::int64_t window_bytes_ = 0;
        std::int64_t window_start_ = AV_NOPTS_VALUE;
    };

    const MediaStream& Chosen() const;
    void Run(PacketQueue& queue, std::size_t lane, Segment segment);
    // S_FALSE when the receiver takes no more.
    HRESULT Send(FfmpegPtr<AVPacket> packet, const Segment& segment, bool first);

    SplitterSource& source_;
    const StreamKind kind_;
    std::atomic<int> stream_;
    bool changed_ = false;  // of the control thread between runs, of the pin's thread in one
    CodecStream codec_stream_;
    Bitrate bitrate_;
    SplitterSeeking seeking_;
    std::thread thread_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

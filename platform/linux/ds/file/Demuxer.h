// A media file or network stream, read packet by packet.
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/ds/media/StreamTypes.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace Vimbrel {

enum class StreamKind { video, audio, subtitle };
inline constexpr int stream_kinds = 3;

struct MediaStream {
    int index = 0;  // of the container
    StreamKind kind = StreamKind::video;
    StreamDescription description;
    std::wstring name;
    LCID language = 0;
    bool cover = false;  // one picture, without a time
};

// Times are in units of 100 nanoseconds from the container's start. One thread at a time, but for
// Interrupt.
class Demuxer {
public:
    // `analysis` bounds the analysis of a network stream, in milliseconds.
    static HRESULT Open(const std::wstring& name, DWORD analysis,
                        std::unique_ptr<Demuxer>& demuxer);
    ~Demuxer();
    Demuxer(const Demuxer&) = delete;
    Demuxer& operator=(const Demuxer&) = delete;

    const std::vector<MediaStream>& Streams() const { return streams_; }
    // The stream of that kind that plays unless another one is chosen, as a position in the list
    // above; -1 if there is none.
    int BestStream(StreamKind kind) const;
    // 0 if unknown.
    LONGLONG Duration() const { return duration_; }
    bool CanSeek() const { return can_seek_; }
    // An address: a seek is expensive.
    bool IsNetwork() const { return network_; }
    const std::string& Name() const { return name_; }

    // Packets of other streams are not read. Positions in the list of streams.
    void Select(const std::vector<int>& streams);
    // The next packet, with its times in units of 100 nanoseconds and `stream_index` a position in
    // the list of streams. S_FALSE at the end.
    HRESULT Read(AVPacket& packet);
    // The next packets of `stream` begin with a key picture that is not after `target`. What cannot
    // be sought goes on where it is.
    HRESULT Seek(LONGLONG target, int stream);
    // What cannot be sought plays on in a new run: its next packet is at `time` of that.
    void ContinueAt(LONGLONG time);
    // Any thread. Ends a read or a seek that is under way; false takes that back. Reads of a local
    // file have a second to end by themselves, because what one of them had read would be lost.
    void Interrupt(bool on);
    bool WasInterrupted() const { return interrupted_; }

private:
    friend class KeyPictureSearch;

    Demuxer() = default;
    HRESULT OpenFile(const std::wstring& name, DWORD analysis);
    void ReadStreams();
    std::shared_ptr<const std::vector<EmbeddedFont>> ReadFonts() const;
    void ReadTimes();
    static int IsInterrupted(void* demuxer);
    // Below the kept packets: what FFmpeg returns.
    int ReadRaw(AVPacket& packet);
    void Convert(AVPacket& packet);

    AVFormatContext* format_ = nullptr;
    std::string name_;
    std::vector<MediaStream> streams_;
    std::vector<int> positions_;  // of the container's streams in the list; -1 for others
    LONGLONG duration_ = 0;
    LONGLONG start_ = 0;
    std::optional<LONGLONG> next_time_;  // of the next packet
    bool can_seek_ = false;
    bool network_ = false;
    bool at_start_ = true;  // nothing was read
    std::deque<FfmpegPtr<AVPacket>> kept_;
    std::atomic<bool> interrupted_{false};
    std::atomic<std::chrono::steady_clock::time_point> deadline_{
        std::chrono::steady_clock::time_point::max()};
};

}  // namespace Vimbrel

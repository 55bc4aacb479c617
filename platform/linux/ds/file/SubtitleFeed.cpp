#include "platform/linux/ds/file/SubtitleFeed.h"

#include <algorithm>

namespace Vimbrel {

namespace {

constexpr LONGLONG second = 10'000'000;
constexpr LONGLONG longest_line = 10 * second;
// The first pictures reach the subtitle filter before the demuxer has read much.
constexpr LONGLONG ahead = second;

}  // namespace

bool SubtitleFeed::Begin(LONGLONG start, int reference) {
    early_.clear();
    if (target_.file) return PushFile(start);
    const bool reads = target_.stream >= 0 && target_.stream != reference;
    return !reads || !demuxer_->CanSeek() || demuxer_->IsNetwork() || PushEarlier(start, reference);
}

bool SubtitleFeed::PushFile(LONGLONG start) {
    for (const FfmpegPtr<AVPacket>& packet : target_.file->packets) {
        if (packet->pts + std::max(packet->duration, longest_line) < start) continue;
        FfmpegPtr<AVPacket> copy(av_packet_clone(packet.get()));
        if (copy && !queue_->Push(target_.lane, std::move(copy))) return false;
    }
    return Await();
}

bool SubtitleFeed::PushEarlier(LONGLONG start, int reference) {
    if (FAILED(demuxer_->Seek(std::max<LONGLONG>(start - longest_line, 0), reference))) return true;
    for (;;) {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        if (!packet || demuxer_->Read(*packet) != S_OK) return true;
        const std::int64_t time = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
        if (packet->stream_index == reference && time != AV_NOPTS_VALUE && time >= start + ahead)
            return true;
        if (packet->stream_index != target_.stream) continue;
        early_.emplace_back(packet->pts, packet->pos);
        if (!Push(std::move(packet))) return false;
    }
}

bool SubtitleFeed::Push(FfmpegPtr<AVPacket> packet) {
    return queue_->Push(target_.lane, std::move(packet)) && Await();
}

bool SubtitleFeed::Take(FfmpegPtr<AVPacket>& packet) {
    if (target_.stream < 0 || packet->stream_index != target_.stream) return true;
    const std::pair<std::int64_t, std::int64_t> place(packet->pts, packet->pos);
    FfmpegPtr<AVPacket> taken = std::move(packet);
    const bool known = std::find(early_.begin(), early_.end(), place) != early_.end();
    return known || Push(std::move(taken));
}

}  // namespace Vimbrel

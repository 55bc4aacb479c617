#include "platform/linux/ds/file/KeyPictureSearch.h"

#include <algorithm>

#include "platform/linux/ds/file/ReferenceTime.h"
#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

namespace {

constexpr LONGLONG second = 10'000'000;
// Pictures, which is more than encoders use.
constexpr LONGLONG most_reordered = 16;
// What is kept while the first key picture is looked for.
constexpr std::size_t most_packets = 20'000;
constexpr std::int64_t most_bytes = std::int64_t{512} << 20;

}  // namespace

bool KeyPictureSearch::MoveTo(LONGLONG place) {
    const AVStream& stream =
        *demuxer_.format_->streams[demuxer_.streams_[static_cast<std::size_t>(stream_)].index];
    // Rounded down: the picture that is shown at the place may begin before it.
    const std::int64_t time =
        av_rescale_q_rnd(place + demuxer_.start_, hundreds, stream.time_base, AV_ROUND_DOWN);
    error_ = av_seek_frame(demuxer_.format_, stream.index, time, AVSEEK_FLAG_BACKWARD);
    return error_ >= 0;
}

std::int64_t KeyPictureSearch::ShownTime(const AVPacket& packet) const {
    if (packet.pts != AV_NOPTS_VALUE || packet.dts == AV_NOPTS_VALUE) return packet.pts;
    const StreamDescription& stream =
        demuxer_.streams_[static_cast<std::size_t>(stream_)].description;
    // Pictures that are decoded after it may be shown before it.
    const bool reordered = stream.parameters->video_delay > 0;
    return packet.dts + (reordered ? most_reordered * stream.frame_time : 0);
}

bool KeyPictureSearch::Reaches(LONGLONG place, LONGLONG target) {
    demuxer_.kept_.clear();
    if (!MoveTo(place)) return false;
    std::int64_t bytes = 0;
    while (demuxer_.kept_.size() < most_packets && bytes < most_bytes) {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        error_ = demuxer_.ReadRaw(*packet);
        if (error_ < 0) return false;
        const bool key = packet->stream_index == stream_ && (packet->flags & AV_PKT_FLAG_KEY) != 0;
        const std::int64_t time = ShownTime(*packet);
        bytes += packet->size;
        demuxer_.kept_.push_back(std::move(packet));
        if (key) return time == AV_NOPTS_VALUE || time <= target;
    }
    return false;
}

HRESULT KeyPictureSearch::Run(LONGLONG target) {
    target = std::max<LONGLONG>(target, 0);
    if (Reaches(target, target)) return S_OK;
    for (LONGLONG step = second; step < target && !demuxer_.WasInterrupted(); step *= 2) {
        if (Reaches(target - step, target)) return S_OK;
    }
    // The beginning. The first key picture may be after the target; what comes before it is lost.
    demuxer_.kept_.clear();
    const bool streamed = (demuxer_.format_->iformat->flags & AVFMT_TS_DISCONT) != 0;
    if (streamed) error_ = av_seek_frame(demuxer_.format_, -1, 0, AVSEEK_FLAG_BYTE);
    if (!streamed || error_ < 0) MoveTo(0);
    return error_ < 0 ? ResultFromFfmpeg(error_, "seek") : S_OK;
}

}  // namespace Vimbrel

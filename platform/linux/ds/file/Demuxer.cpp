#include "platform/linux/ds/file/Demuxer.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "com/Utf8.h"
#include "platform/linux/ds/file/KeyPictureSearch.h"
#include "platform/linux/ds/file/Languages.h"
#include "platform/linux/ds/file/ReferenceTime.h"
#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/ffmpeg/FfmpegLog.h"
#include "platform/linux/ffmpeg/QuietFormat.h"
#include "platform/linux/kernel/NativePath.h"

extern "C" {
#include <libavutil/display.h>
}

namespace Vimbrel {

namespace {

// A network address that does not reply must not hold the application for ever, nor a file whose
// size is pretended.
constexpr std::chrono::seconds network_patience(10);
constexpr std::chrono::seconds file_patience(30);
constexpr std::chrono::seconds interrupt_patience(1);
// More than two centuries. Sums and differences of times within it stay far from an overflow.
constexpr std::int64_t farthest = std::int64_t{1} << 56;

std::int64_t Bounded(std::int64_t time) {
    return time >= -farthest && time <= farthest ? time : AV_NOPTS_VALUE;
}

bool IsAddress(const std::string& name) {
    const std::size_t colon = name.find("://");
    return colon != std::string::npos && colon > 1 && name.compare(0, 5, "file:") != 0;
}

// Opening a pipe waits for a writer, and nothing interrupts that.
HRESULT CheckFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    return std::filesystem::is_regular_file(status) ? S_OK
                                                    : HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
}

int RotationOf(const AVStream& stream) {
    const auto* const matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (!matrix) return 0;
    const double angle = -av_display_rotation_get(matrix);
    if (std::isnan(angle)) return 0;
    return (static_cast<int>(std::lround(angle / 90)) * 90 % 360 + 360) % 360;
}

// Old and new kinds differ; each has the word in it.
bool IsFont(const AVStream& stream) {
    const AVCodecID codec = stream.codecpar->codec_id;
    const AVDictionaryEntry* const kind = av_dict_get(stream.metadata, "mimetype", nullptr, 0);
    return codec == AV_CODEC_ID_TTF || codec == AV_CODEC_ID_OTF ||
           (kind && std::string_view(kind->value).find("font") != std::string_view::npos);
}

std::wstring NameOf(const AVStream& stream, int position) {
    const AVDictionaryEntry* const title = av_dict_get(stream.metadata, "title", nullptr, 0);
    const AVDictionaryEntry* const language = av_dict_get(stream.metadata, "language", nullptr, 0);
    std::string name = title ? title->value : "";
    if (language)
        name += name.empty() ? language->value : " (" + std::string(language->value) + ")";
    if (name.empty()) name = "Stream " + std::to_string(position + 1);
    return FromUtf8(name);
}

bool KindOf(AVMediaType type, StreamKind& kind) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            kind = StreamKind::video;
            return true;
        case AVMEDIA_TYPE_AUDIO:
            kind = StreamKind::audio;
            return true;
        case AVMEDIA_TYPE_SUBTITLE:
            kind = StreamKind::subtitle;
            return true;
        default:
            return false;
    }
}

AVMediaType TypeOf(StreamKind kind) {
    constexpr AVMediaType types[] = {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO, AVMEDIA_TYPE_SUBTITLE};
    return types[static_cast<int>(kind)];
}

}  // namespace

Demuxer::~Demuxer() {
    interrupted_ = true;  // closing a network stream must not wait for its server
    avformat_close_input(&format_);
}

int Demuxer::IsInterrupted(void* demuxer) {
    const auto& self = *static_cast<Demuxer*>(demuxer);
    if (self.network_ && self.interrupted_) return 1;
    return std::chrono::steady_clock::now() > self.deadline_.load() ? 1 : 0;
}

void Demuxer::Interrupt(bool on) {
    interrupted_ = on;
    if (network_) return;
    deadline_ = on ? std::chrono::steady_clock::now() + interrupt_patience
                   : std::chrono::steady_clock::time_point::max();
}

HRESULT Demuxer::Open(const std::wstring& name, DWORD analysis, std::unique_ptr<Demuxer>& demuxer) {
    std::unique_ptr<Demuxer> made(new Demuxer);
    const HRESULT hr = made->OpenFile(name, analysis);
    if (SUCCEEDED(hr)) demuxer = std::move(made);
    return hr;
}

HRESULT Demuxer::OpenFile(const std::wstring& name, DWORD analysis) {
    const FfmpegLogScope log;
    name_ = ToUtf8(name);
    network_ = IsAddress(name_);
    if (!network_) {
        name_ = NativePath(name);
        const HRESULT hr = CheckFile(name_);
        if (FAILED(hr)) return hr;
    }
    format_ = avformat_alloc_context();
    if (!format_) return E_OUTOFMEMORY;
    format_->interrupt_callback = {IsInterrupted, this};
    Silence(*format_);
    if (network_) format_->max_analyze_duration = static_cast<std::int64_t>(analysis) * 1000;
    deadline_ = std::chrono::steady_clock::now() + (network_ ? network_patience : file_patience);
    const std::string url = network_ ? name_ : "file:" + name_;
    int error = avformat_open_input(&format_, url.c_str(), nullptr, nullptr);
    if (error < 0) return ResultFromFfmpeg(error, "open the media file");
    error = avformat_find_stream_info(format_, nullptr);
    deadline_ = std::chrono::steady_clock::time_point::max();
    if (error < 0) return ResultFromFfmpeg(error, "find the streams");
    ReadStreams();
    if (streams_.empty()) return VFW_E_CANNOT_RENDER;
    ReadTimes();
    can_seek_ = (!format_->pb || (format_->pb->seekable & AVIO_SEEKABLE_NORMAL) != 0) &&
                (format_->ctx_flags & AVFMTCTX_UNSEEKABLE) == 0;
    return S_OK;
}

void Demuxer::ReadTimes() {
    if (format_->duration > 0)
        duration_ = Bounded(av_rescale_q(format_->duration, AV_TIME_BASE_Q, hundreds));
    if (duration_ == AV_NOPTS_VALUE) duration_ = 0;
    if (format_->start_time != AV_NOPTS_VALUE)
        start_ = Bounded(av_rescale_q(format_->start_time, AV_TIME_BASE_Q, hundreds));
    if (start_ == AV_NOPTS_VALUE) start_ = 0;
}

std::shared_ptr<const std::vector<EmbeddedFont>> Demuxer::ReadFonts() const {
    const auto fonts = std::make_shared<std::vector<EmbeddedFont>>();
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        const AVStream& stream = *format_->streams[i];
        const AVCodecParameters& parameters = *stream.codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_ATTACHMENT || parameters.extradata_size <= 0 ||
            !IsFont(stream))
            continue;
        const AVDictionaryEntry* const name = av_dict_get(stream.metadata, "filename", nullptr, 0);
        fonts->push_back(
            {name ? name->value : "font",
             {parameters.extradata, parameters.extradata + parameters.extradata_size}});
    }
    return fonts;
}

void Demuxer::ReadStreams() {
    const auto fonts = ReadFonts();
    positions_.assign(format_->nb_streams, -1);
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        AVStream& stream = *format_->streams[i];
        MediaStream found;
        const AVCodecParameters& parameters = *stream.codecpar;
        if (!KindOf(parameters.codec_type, found.kind) || parameters.codec_id == AV_CODEC_ID_NONE)
            continue;
        found.index = static_cast<int>(i);
        found.cover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        found.name = NameOf(stream, static_cast<int>(streams_.size()));
        if (const auto* const tag = av_dict_get(stream.metadata, "language", nullptr, 0))
            found.language = LocaleOfLanguage(tag->value);
        avcodec_parameters_copy(found.description.parameters.get(), &parameters);
        found.description.rotation = RotationOf(stream);
        if (found.kind == StreamKind::subtitle) found.description.fonts = fonts;
        const AVRational rate = av_guess_frame_rate(format_, &stream, nullptr);
        if (rate.num > 0 && rate.den > 0)
            found.description.frame_time = av_rescale(10'000'000, rate.den, rate.num);
        positions_[i] = static_cast<int>(streams_.size());
        streams_.push_back(std::move(found));
    }
}

int Demuxer::BestStream(StreamKind kind) const {
    const int best = av_find_best_stream(format_, TypeOf(kind), -1, -1, nullptr, 0);
    return best < 0 ? -1 : positions_[static_cast<std::size_t>(best)];
}

void Demuxer::Select(const std::vector<int>& streams) {
    for (unsigned i = 0; i < format_->nb_streams; ++i) format_->streams[i]->discard = AVDISCARD_ALL;
    for (const int each : streams) {
        const MediaStream& stream = streams_[static_cast<std::size_t>(each)];
        format_->streams[stream.index]->discard = AVDISCARD_DEFAULT;
    }
}

int Demuxer::ReadRaw(AVPacket& packet) {
    const FfmpegLogScope log;
    for (;;) {
        if (interrupted_) return AVERROR_EXIT;
        const int error = av_read_frame(format_, &packet);
        if (error == AVERROR(EAGAIN)) continue;
        if (error < 0) return error;
        at_start_ = false;
        const auto index = static_cast<std::size_t>(packet.stream_index);
        // Streams that appear later belong to nobody.
        if (index < positions_.size() && positions_[index] >= 0 &&
            format_->streams[index]->discard != AVDISCARD_ALL) {
            Convert(packet);
            return 0;
        }
        av_packet_unref(&packet);
    }
}

void Demuxer::ContinueAt(LONGLONG time) {
    if (can_seek_ || at_start_) return;
    next_time_ = time;
    // An interrupted read ends the file.
    if (!format_->pb) return;
    format_->pb->eof_reached = 0;
    format_->pb->error = 0;
}

void Demuxer::Convert(AVPacket& packet) {
    const AVStream& stream = *format_->streams[packet.stream_index];
    av_packet_rescale_ts(&packet, stream.time_base, hundreds);
    for (std::int64_t* const time : {&packet.pts, &packet.dts}) {
        *time = Bounded(*time);
    }
    const std::int64_t first = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (next_time_ && first != AV_NOPTS_VALUE) {
        start_ = first - *next_time_;
        next_time_.reset();
    }
    for (std::int64_t* const time : {&packet.pts, &packet.dts}) {
        if (*time != AV_NOPTS_VALUE) *time -= start_;
    }
    if (packet.duration < 0 || packet.duration > farthest) packet.duration = 0;
    packet.stream_index = positions_[static_cast<std::size_t>(packet.stream_index)];
}

HRESULT Demuxer::Read(AVPacket& packet) {
    if (!kept_.empty()) {
        av_packet_move_ref(&packet, kept_.front().get());
        kept_.pop_front();
        return S_OK;
    }
    const int error = ReadRaw(packet);
    if (error == AVERROR_EOF) return S_FALSE;
    return error < 0 ? ResultFromFfmpeg(error, "read the media file") : S_OK;
}

HRESULT Demuxer::Seek(LONGLONG target, int stream) {
    kept_.clear();
    if (!can_seek_ || (target <= 0 && at_start_)) return S_OK;
    // A read that was interrupted is no reason not to read elsewhere.
    if (format_->pb) format_->pb->error = 0;
    return KeyPictureSearch(*this, stream).Run(std::min<LONGLONG>(target, farthest));
}

}  // namespace Vimbrel

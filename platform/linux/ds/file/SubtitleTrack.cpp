#include "platform/linux/ds/file/SubtitleTrack.h"

#include <cstdarg>
#include <cstdio>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "vimbrel/AppLog.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

namespace Vimbrel {

namespace {

constexpr LONGLONG millisecond = 10'000;
// Of a line without a duration.
constexpr LONGLONG usual_milliseconds = 5'000;
// The canvas of broadcasts that do not tell one.
constexpr int broadcast_width = 720;
constexpr int broadcast_height = 576;
// Files that are not UTF-8 are mostly old ones of Western Europe.
constexpr char old_characters[] = "CP1252";

// Its messages below this number are worth a warning.
constexpr int warnings = 3;

void Log(int level, const char* format, va_list values, void*) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, values);
    const auto severity =
        level < warnings ? HalvorixAppLog::LOG_LEVEL_WARN : HalvorixAppLog::LOG_LEVEL_TRACE;
    APPLOG_STREAM(severity, "libass: " << text);
}

// A property of libavcodec's.
bool Is(AVCodecID codec, int property) {
    const AVCodecDescriptor* const known = avcodec_descriptor_get(codec);
    return known && (known->props & property) != 0;
}

bool IsUtf8(const AVPacket& packet) {
    const std::uint8_t* at = packet.data;
    const std::uint8_t* const end = packet.data + packet.size;
    while (at < end) {
        std::int32_t code = 0;
        if (av_utf8_decode(&code, &at, end, AV_UTF8_FLAG_ACCEPT_ALL) < 0) return false;
    }
    return true;
}

struct Subtitle : AVSubtitle {
    Subtitle() : AVSubtitle{} {}
    ~Subtitle() { avsubtitle_free(this); }
    Subtitle(const Subtitle&) = delete;
    Subtitle& operator=(const Subtitle&) = delete;
};

ColorMask MaskOf(const ASS_Image& image) {
    const auto part = [&](int shift) { return static_cast<std::uint8_t>(image.color >> shift); };
    return {image.bitmap, image.stride,
            image.dst_x,  image.dst_y,
            image.w,      image.h,
            part(24),     part(16),
            part(8),      static_cast<std::uint8_t>(255 - part(0))};
}

}  // namespace

void SubtitleTrack::Open(const StreamDescription& stream) {
    Close();
    const MutexLock guard(lock_);
    stream_ = stream;
    if (!OpenDecoder()) {
        decoder_.reset();
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN, "Subtitles of the kind %s are not drawn",
                      avcodec_get_name(stream.parameters->codec_id));
    }
}

bool SubtitleTrack::OpenDecoder() {
    const AVCodecID id = stream_.parameters->codec_id;
    const bool known = Is(id, AV_CODEC_PROP_TEXT_SUB | AV_CODEC_PROP_BITMAP_SUB);
    const AVCodec* const codec = known ? avcodec_find_decoder(id) : nullptr;
    decoder_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder_) return false;
    if (avcodec_parameters_to_context(decoder_.get(), stream_.parameters.get()) < 0) return false;
    decoder_->pkt_timebase = {1, 10'000'000};
    decoder_->log_level_offset = quiet_log_offset;
    // The text within MP4 is UTF-8, between numbers.
    if (Is(id, AV_CODEC_PROP_TEXT_SUB) && id != AV_CODEC_ID_MOV_TEXT)
        av_opt_set(decoder_.get(), "sub_charenc", old_characters, 0);
    const int error = avcodec_open2(decoder_.get(), codec, nullptr);
    if (error < 0) ResultFromFfmpeg(error, "open the decoder of subtitles");
    return error >= 0;
}

void SubtitleTrack::Close() {
    const MutexLock guard(lock_);
    track_.reset();
    renderer_.reset();
    library_.reset();
    decoder_.reset();
    pictures_.Clear();
}

void SubtitleTrack::Clear() {
    const MutexLock guard(lock_);
    if (decoder_) avcodec_flush_buffers(decoder_.get());
    if (track_) ass_flush_events(track_.get());
    pictures_.Clear();
}

void SubtitleTrack::AddFonts() {
    if (!stream_.fonts) return;
    for (const EmbeddedFont& font : *stream_.fonts) {
        // The library copies both.
        ass_add_font(library_.get(), font.name.c_str(),
                     reinterpret_cast<const char*>(font.data.data()),
                     static_cast<int>(font.data.size()));
    }
}

bool SubtitleTrack::OpenRenderer() {
    library_.reset(ass_library_init());
    if (!library_) return false;
    ass_set_message_cb(library_.get(), Log, nullptr);
    ass_set_extract_fonts(library_.get(), 1);
    AddFonts();
    track_.reset(ass_new_track(library_.get()));
    renderer_.reset(ass_renderer_init(library_.get()));
    if (!track_ || !renderer_) {
        track_.reset();
        return false;
    }
    if (decoder_->subtitle_header) {
        std::string header(reinterpret_cast<const char*>(decoder_->subtitle_header),
                           static_cast<std::size_t>(decoder_->subtitle_header_size));
        ass_process_codec_private(track_.get(), header.data(), static_cast<int>(header.size()));
    }
    ass_set_fonts(renderer_.get(), nullptr, "sans-serif", ASS_FONTPROVIDER_AUTODETECT, nullptr, 1);
    return true;
}

void SubtitleTrack::Add(const AVPacket& packet, LONGLONG start, LONGLONG duration) {
    const MutexLock guard(lock_);
    if (!decoder_) return;
    const bool text = Is(decoder_->codec_id, AV_CODEC_PROP_TEXT_SUB);
    if (text && !track_ && !OpenRenderer()) return;
    const FfmpegPtr<AVPacket> copy(av_packet_clone(&packet));
    if (!copy) return;
    // Of a packet, in stream time; subtitles without an end of their own would take it over.
    if (!text) copy->duration = 0;
    Subtitle subtitle;
    int got = 0;
    decoder_->sub_charenc_mode = decoder_->sub_charenc && !IsUtf8(packet)
                                     ? FF_SUB_CHARENC_MODE_PRE_DECODER
                                     : FF_SUB_CHARENC_MODE_DO_NOTHING;
    const int error = avcodec_decode_subtitle2(decoder_.get(), &subtitle, &got, copy.get());
    if (error < 0) ResultFromFfmpeg(error, "decode a subtitle");
    if (error < 0 || got == 0) return;
    if (text) {
        AddLines(subtitle, start, duration);
    } else {
        AddPictures(subtitle, start, duration);
    }
}

void SubtitleTrack::AddLines(const AVSubtitle& subtitle, LONGLONG start, LONGLONG duration) {
    const LONGLONG lasts = duration > 0 ? duration / millisecond : usual_milliseconds;
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
        const char* const line = subtitle.rects[i]->ass;
        if (!line) continue;
        // The library cuts the line up in place.
        std::string text(line);
        ass_process_chunk(track_.get(), text.data(), static_cast<int>(text.size()),
                          start / millisecond, lasts);
    }
}

void SubtitleTrack::AddPictures(const AVSubtitle& subtitle, LONGLONG start, LONGLONG duration) {
    int width = decoder_->width;
    int height = decoder_->height;
    if (width <= 0 && decoder_->codec_id == AV_CODEC_ID_DVB_SUBTITLE) {
        width = broadcast_width;
        height = broadcast_height;
    }
    pictures_.Add(subtitle, width, height, start, duration);
}

void SubtitleTrack::Draw(LONGLONG time, const MaskPainter& painter, std::uint8_t* picture,
                         std::int64_t size) {
    const MutexLock guard(lock_);
    if (painter.Width() == 0) return;
    pictures_.Draw(time, painter, picture, size);
    if (!track_ || track_->n_events == 0) return;
    ass_set_frame_size(renderer_.get(), painter.Width(), painter.Height());
    ass_set_storage_size(renderer_.get(), painter.Width(), painter.Height());
    // Rounded: a picture whose time is a fraction below the line's shows it.
    const LONGLONG now = (time + millisecond / 2) / millisecond;
    const ASS_Image* image = ass_render_frame(renderer_.get(), track_.get(), now, nullptr);
    for (; image; image = image->next) painter.Draw(MaskOf(*image), picture, size);
}

}  // namespace Vimbrel

#include "platform/linux/ds/file/SubtitleFile.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "com/Utf8.h"
#include "platform/linux/ds/file/Languages.h"
#include "platform/linux/ds/file/ReferenceTime.h"
#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/ffmpeg/FfmpegLog.h"
#include "platform/linux/ffmpeg/QuietFormat.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t most_files = 32;
constexpr std::uintmax_t most_bytes = std::uintmax_t{64} << 20;

std::string EndingOf(const fs::path& path) {
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return ending;
}

// The reader of files with that ending; null if they are no subtitles. Content alone would let any
// file be taken for something else.
const AVInputFormat* ReaderOf(const fs::path& path) {
    const std::string ending = EndingOf(path);
    if (ending == ".srt") return av_find_input_format("srt");
    return ending == ".ass" || ending == ".ssa" ? av_find_input_format("ass") : nullptr;
}

std::vector<fs::path> Candidates(const fs::path& media) {
    std::vector<fs::path> found;
    const std::string name = media.stem().string();
    const fs::path folder = media.has_parent_path() ? media.parent_path() : fs::path(".");
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        const std::string other = at->path().stem().string();
        const bool same = other == name || other.compare(0, name.size() + 1, name + ".") == 0;
        std::error_code unknown;
        if (same && ReaderOf(at->path()) && at->is_regular_file(unknown) &&
            at->file_size(unknown) <= most_bytes)
            found.push_back(at->path());
    }
    std::sort(found.begin(), found.end());
    if (found.size() > most_files) found.resize(most_files);
    return found;
}

// Between the media file's name and the ending: "de" of "film.de.srt".
std::string LanguageOf(const fs::path& path) {
    const std::string part = path.stem().extension().string();
    return part.empty() ? part : part.substr(1);
}

struct Reader {
    AVFormatContext* format = avformat_alloc_context();

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { avformat_close_input(&format); }
};

bool Read(const fs::path& path, SubtitleFile& file) {
    const FfmpegLogScope log;
    Reader reader;
    if (!reader.format) return false;
    Silence(*reader.format);
    const std::string address = "file:" + path.string();
    const int error = avformat_open_input(&reader.format, address.c_str(), ReaderOf(path), nullptr);
    if (error < 0) ResultFromFfmpeg(error, "open a file of subtitles");
    if (error < 0 || reader.format->nb_streams != 1) return false;
    const AVStream& stream = *reader.format->streams[0];
    avcodec_parameters_copy(file.stream.description.parameters.get(), stream.codecpar);
    for (;;) {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        if (!packet || av_read_frame(reader.format, packet.get()) < 0) break;
        av_packet_rescale_ts(packet.get(), stream.time_base, hundreds);
        if (packet->pts != AV_NOPTS_VALUE) file.packets.push_back(std::move(packet));
    }
    return !file.packets.empty();
}

}  // namespace

std::vector<SubtitleFile> FindSubtitleFiles(const std::string& media) {
    std::vector<SubtitleFile> files;
    for (const fs::path& path : Candidates(media)) {
        SubtitleFile file;
        file.stream.index = -1;
        file.stream.kind = StreamKind::subtitle;
        file.stream.name = FromUtf8(path.filename().string());
        if (!(path.stem() == fs::path(media).stem()))
            file.stream.language = LocaleOfLanguage(LanguageOf(path));
        if (Read(path, file)) {
            files.push_back(std::move(file));
        } else {
            APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_WARN,
                          "No subtitles can be read from " << path.string());
        }
    }
    return files;
}

}  // namespace Vimbrel

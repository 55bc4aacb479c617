// Subtitles in the pictures of media files, against those that ffmpeg draws.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/fakes/CapturingLog.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

constexpr int width = 320;
constexpr int height = 180;

const std::string lines =
    "1\n00:00:00,400 --> 00:00:00,800\n<i>First</i>\n\n"
    "2\n00:00:01,200 --> 00:00:03,600\nSecond \xc3\xa4\nin <b>two</b> rows\n";

// The style names a font, and places the line at the top.
std::string Script(const std::string& font) {
    return "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\n"
           "Format: Name, Fontname, Fontsize, PrimaryColour, Outline, Alignment, MarginV\n"
           "Style: Default," +
           font +
           ",30,&H0000FFFF,2,8,10\n\n[Events]\n"
           "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
           "Dialogue: 0,0:00:00.40,0:00:00.80,Default,,0,0,0,,On {\\c&H0000FF&}top\n"
           "Dialogue: 0,0:00:01.20,0:00:03.60,Default,,0,0,0,,{\\frz20}Turned\n";
}

// Keeps the first picture after each call of Expect.
class PictureTaker final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char* pixels, int, int, int, std::int64_t when,
                       std::int64_t) override {
        const std::lock_guard guard(lock);
        if (!wanted) return;
        wanted = false;
        time = when;
        picture.assign(pixels, pixels + width * height * 4);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    void Expect() {
        const std::lock_guard guard(lock);
        wanted = true;
    }
    bool Take(Bytes& taken, std::int64_t& when) {
        const bool came = WaitUntil([&] {
            const std::lock_guard guard(lock);
            return !wanted;
        });
        const std::lock_guard guard(lock);
        taken = picture;
        when = time;
        return came;
    }

private:
    std::mutex lock;
    bool wanted = false;
    std::int64_t time = 0;
    Bytes picture;
};

double PeakRatio(const std::uint8_t* a, const std::uint8_t* b) {
    double sum = 1e-9;
    for (int i = 0; i < width * height * 4; ++i) {
        const double difference = i % 4 == 3 ? 0 : static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return 10 * std::log10(255.0 * 255.0 * 3 * width * height / sum);
}

class Subtitles : public testing::Test {
protected:
    Subtitles() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        source.SetDispatcher(&taker);
        source.SetAutoloadSubtitle(true);
    }
    ~Subtitles() override {
        source.Close();
        CoUninitialize();
    }

    // Four seconds of pictures; `more` are further inputs and how all are written.
    void Make(const std::string& more, const std::string& file) const {
        folder.Run("ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=320x180:r=25:d=4 " +
                   more + " -threads 1 " + file);
    }
    // What ffmpeg draws, picture by picture.
    Bytes Draw(const std::string& file, const std::string& subtitles) const {
        folder.Run("ffmpeg -nostdin -loglevel error -i " + file + " -vf subtitles=" + subtitles +
                   " -pix_fmt bgra -f rawvideo drawn.raw");
        return ReadBytes(folder / "drawn.raw");
    }
    bool Open(const std::string& file) {
        source.SetFileName((folder / file).wstring().c_str(), true);
        return source.Open() && source.Pause();
    }
    // Before, within and after the lines, and not in their order.
    void Compare(const Bytes& drawn) {
        for (const double seconds : {0.2, 0.4, 0.76, 0.8, 2.0, 3.56, 3.6, 0.6, 1.2}) {
            source.Pause();
            ASSERT_TRUE(source.Seek(seconds + 0.01));
            taker.Expect();
            source.Play();
            Bytes picture;
            std::int64_t time = 0;
            ASSERT_TRUE(taker.Take(picture, time));
            const auto number = static_cast<std::size_t>(std::lround(seconds * 25));
            ASSERT_EQ((time + 200'000) / 400'000, static_cast<std::int64_t>(number));
            EXPECT_GE(PeakRatio(picture.data(), drawn.data() + number * width * height * 4), 38.0)
                << seconds;
        }
    }

    const Watchdog watchdog{"subtitles"};
    const TempFolder folder;
    PictureTaker taker;
    MediaSourceDS source;
};

struct Kind {
    const char* name;
    const char* file;
    const char*
        encoding;  // of ffmpeg, after the pictures and the input "lines.srt" or "script.ass"
    const char* subtitles;  // of ffmpeg's filter
    int streams;            // of subtitles
    int chosen;             // index in the list of streams; -1 for what comes by itself
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

class SubtitleKinds : public Subtitles, public testing::WithParamInterface<Kind> {};

#define X264 " -c:v libx264 -qp 8 -g 25 "
TEST_P(SubtitleKinds, AreDrawnAtTheirTimeAndPlace) {
    const Kind& kind = GetParam();
    folder.Write("lines.srt", lines);
    folder.Write("script.ass", Script("DejaVu Serif"));
    Make(kind.encoding, kind.file);
    folder.Run("cp lines.srt beside.srt; cp script.ass beside.de.ass");
    const Bytes drawn = Draw(kind.file, kind.subtitles);
    ASSERT_TRUE(Open(kind.file));
    EXPECT_EQ(source.GetMediaInfo().subtitleStreams.size(), static_cast<std::size_t>(kind.streams));
    if (kind.chosen >= 0) {
        EXPECT_TRUE(source.SetSubtitleStream(kind.chosen));
        EXPECT_EQ(source.GetSubtitleStream(), kind.chosen);
    }
    Compare(drawn);
}

INSTANTIATE_TEST_SUITE_P(
    All, SubtitleKinds,
    testing::Values(Kind{"Matroska", "film.mkv", "-i lines.srt" X264 "-c:s srt", "film.mkv", 1, -1},
                    Kind{"Switched", "film.mkv",
                         "-i lines.srt -i script.ass -map 0 -map 1 -map 2" X264
                         "-c:s:0 srt -c:s:1 ass",
                         "film.mkv:si=1", 2, 2},
                    Kind{"Mp4", "film.mp4", "-i lines.srt" X264 "-c:s mov_text", "film.mp4", 1, -1},
                    // Rows of RGB, since the size is odd in chroma and the range is full.
                    Kind{"Rgb", "film.mkv", "-i script.ass" X264 "-pix_fmt yuvj444p -c:s ass",
                         "film.mkv", 1, -1},
                    Kind{"Beside", "beside.mkv", X264, "lines.srt", 2, 2},
                    Kind{"BesideScript", "beside.mkv", X264, "script.ass", 2, -1}),
    testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test

// Subtitles in the pictures of media files, against those that ffmpeg draws.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include "platform/linux/ds/file/SubtitleFile.h"
#include "platform/linux/ds/file/SubtitleTrack.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

constexpr int width = 320;
constexpr int height = 180;
// The pictures that are compared: before, within and after the lines, in no order of theirs.
constexpr int compared[] = {5, 10, 19, 20, 50, 89, 90, 15, 30};

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
    static void SetUpTestSuite() {
        folder = new TempFolder;
        folder->Run(
            "ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=320x180:r=25:d=4 -c:v libx264 "
            "-preset fast -qp 8 -g 25 -bf 2 -threads 1 pictures.mkv");
        folder->Write("lines.srt", lines);
        folder->Write("script.ass", Script("DejaVu Serif"));
        folder->Write("own.ass", Script("Vimbrel Font"));
    }
    static void TearDownTestSuite() {
        drawings.clear();
        delete folder;
        folder = nullptr;
    }
    Subtitles() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        source.SetDispatcher(&taker);
        source.SetAutoloadSubtitle(true);
    }
    ~Subtitles() override {
        source.Close();
        CoUninitialize();
    }

    // What ffmpeg draws into the compared pictures, in the file's order; once for each pair.
    static const Bytes& Draw(const std::string& file, const std::string& subtitles) {
        Bytes& drawn = drawings[file + subtitles];
        if (drawn.empty()) {
            std::string numbers;
            for (const int number : compared) numbers += "+eq(n," + std::to_string(number) + ")";
            folder->Run("ffmpeg -nostdin -y -loglevel error -i " + file +
                        " -vf \"subtitles=" + subtitles + ",select='0" + numbers +
                        "'\" -vsync passthrough -pix_fmt bgra -f rawvideo drawn.raw");
            drawn = ReadBytes(*folder / "drawn.raw");
        }
        return drawn;
    }
    bool Open(const std::string& file) {
        source.SetFileName((*folder / file).wstring().c_str(), true);
        return source.Open() && source.Pause();
    }
    void CompareOne(const Bytes& drawn, int number) {
        source.Pause();
        ASSERT_TRUE(source.Seek(number / 25.0 + 0.01));
        taker.Expect();
        source.Play();
        Bytes picture;
        std::int64_t time = 0;
        ASSERT_TRUE(taker.Take(picture, time));
        ASSERT_EQ((time + 200'000) / 400'000, number);
        const auto place = std::count_if(std::begin(compared), std::end(compared),
                                         [&](int other) { return other < number; });
        EXPECT_GE(PeakRatio(picture.data(), drawn.data() + place * width * height * 4), 40.0)
            << number;
    }
    void Compare(const Bytes& drawn) {
        ASSERT_EQ(drawn.size(), std::size(compared) * width * height * 4);
        for (const int number : compared) CompareOne(drawn, number);
    }

    const Watchdog watchdog{"subtitles"};
    PictureTaker taker;
    MediaSourceDS source;
    inline static TempFolder* folder = nullptr;
    inline static std::map<std::string, Bytes> drawings;
};

struct Kind {
    const char* name;
    const char* file;
    const char* making;
    const char* pictures;   // into which ffmpeg draws
    const char* subtitles;  // of ffmpeg's filter
    int streams;            // of subtitles
    int chosen = -1;        // index in the list of streams; -1 for what comes by itself
    int rate = 100;
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

class SubtitleKinds : public Subtitles, public testing::WithParamInterface<Kind> {};

TEST_P(SubtitleKinds, AreDrawnAtTheirTimeAndPlace) {
    const Kind& kind = GetParam();
    folder->Run(kind.making);
    const Bytes& drawn = Draw(kind.pictures, kind.subtitles);
    source.SetRate(kind.rate);
    ASSERT_TRUE(Open(kind.file));
    EXPECT_EQ(source.GetMediaInfo().subtitleStreams.size(), static_cast<std::size_t>(kind.streams));
    EXPECT_EQ(source.GetSubtitleStream(), 1);
    EXPECT_FALSE(source.SetSubtitleStream(99));
    if (kind.chosen >= 0) {
        EXPECT_TRUE(source.SetSubtitleStream(kind.chosen));
        EXPECT_EQ(source.GetSubtitleStream(), kind.chosen);
        // A seek at once, whose flush may drop the sample with the new type.
        for (int i = 0; i < 10; ++i) {
            EXPECT_TRUE(source.SetSubtitleStream(1));
            EXPECT_TRUE(source.SetSubtitleStream(kind.chosen));
            CompareOne(drawn, 50);
        }
    }
    Compare(drawn);
}

#define FROM "ffmpeg -nostdin -y -loglevel error -i pictures.mkv "
INSTANTIATE_TEST_SUITE_P(
    All, SubtitleKinds,
    testing::Values(
        Kind{"Matroska", "srt.mkv", FROM "-i lines.srt -c:v copy -c:s srt srt.mkv", "pictures.mkv",
             "lines.srt", 1},
        Kind{"Switched", "two.mkv",
             FROM "-i lines.srt -i script.ass -map 0 -map 1 -map 2 -c copy two.mkv", "pictures.mkv",
             "script.ass", 2, 2},
        Kind{"Mp4Fast", "text.mp4", FROM "-i lines.srt -c:v copy -c:s mov_text text.mp4",
             "pictures.mkv", "lines.srt", 1, -1, 200},
        // Full range becomes rows of RGB.
        Kind{"RgbSlow", "rgb.mkv",
             FROM "-i script.ass -c:v libx264 -preset fast -qp 8 -pix_fmt yuvj444p -c:s ass "
                  "-threads 1 rgb.mkv",
             "rgb.mkv", "script.ass", 1, -1, 50},
        Kind{"Beside", "a.mkv", "cp pictures.mkv a.mkv; cp lines.srt a.srt; cp script.ass a.de.ass",
             "pictures.mkv", "lines.srt", 2, 2},
        Kind{"BesideByItself", "b.mkv",
             "cp pictures.mkv b.mkv; cp lines.srt b.srt; cp script.ass b.de.ass", "pictures.mkv",
             "script.ass", 2}),
    testing::PrintToStringParamName());

// A font that the system does not have: one of its own under another name of equal length.
void WriteOwnFont(const TempFolder& folder) {
    const std::string found = folder.Run("fc-match -f '%{file}' 'DejaVu Serif:bold'");
    Bytes font = ReadBytes(found);
    for (const std::size_t width_of_letter : {1u, 2u}) {
        const auto wide = [&](const std::string& text) {
            Bytes bytes;
            for (const char letter : text) {
                if (width_of_letter == 2) bytes.push_back(0);
                bytes.push_back(static_cast<std::uint8_t>(letter));
            }
            return bytes;
        };
        const Bytes old_name = wide("DejaVu Serif");
        const Bytes own_name = wide("Vimbrel Font");
        auto at = font.begin();
        while ((at = std::search(at, font.end(), old_name.begin(), old_name.end())) != font.end())
            at = std::copy(own_name.begin(), own_name.end(), at);
    }
    folder.Write("own.ttf", font);
}

TEST_F(Subtitles, UseTheFontsOfTheFile) {
    WriteOwnFont(*folder);
    folder->Run(FROM "-i own.ass -c copy -attach own.ttf -metadata:s:t mimetype=font/ttf font.mkv");
    const Bytes& drawn = Draw("font.mkv", "font.mkv");
    ASSERT_TRUE(Open("font.mkv"));
    Compare(drawn);
}

// Subtitles that are cut off, or changed byte by byte, are drawn or are not, and nothing else.
TEST_F(Subtitles, DamagedFilesDoNoHarm) {
    std::mt19937 random(20'240'611);
    std::uint8_t picture[width * height * 4];
    MaskPainter painter;
    painter.SetType(VideoType(MEDIASUBTYPE_RGB32, width, -height, sizeof picture));
    int read = 0;
    for (int round = 0; round < 120; ++round) {
        const bool script = round % 2 == 0;
        std::string text = script ? Script("DejaVu Sans") : lines;
        if (round % 3 == 0) text.resize(random() % text.size());
        for (int i = 0; i < round / 4 && !text.empty(); ++i)
            text[random() % text.size()] = static_cast<char>(random());
        const auto file = folder->Write(script ? "damaged.ass" : "damaged.srt", text);
        for (const SubtitleFile& each : FindSubtitleFiles((*folder / "damaged.mkv").string())) {
            ++read;
            SubtitleTrack track;
            track.Open(each.stream.description);
            for (const auto& packet : each.packets) {
                track.Add(*packet, packet->pts, packet->duration);
                track.Draw(packet->pts, painter, picture, sizeof picture);
            }
        }
        std::filesystem::remove(file);
    }
    EXPECT_GT(read, 20);
}

}  // namespace
}  // namespace Vimbrel::test

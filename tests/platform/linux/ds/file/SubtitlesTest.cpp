// Subtitles in the pictures of media files, against those that ffmpeg draws.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/linux/ds/file/SubtitleFile.h"
#include "platform/linux/ds/file/SubtitleTrack.h"
#include "tests/platform/linux/ds/file/SubtitleKit.h"

namespace Vimbrel::test {
namespace {

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

class Subtitles : public SubtitleKit {
protected:
    static void SetUpTestSuite() {
        SubtitleKit::SetUpTestSuite();
        folder->Write("lines.srt", lines);
        folder->Write("script.ass", Script("DejaVu Serif"));
        folder->Write("own.ass", Script("Vimbrel Font"));
    }
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
    const Bytes& drawn = Draw(kind.pictures, std::string("subtitles=") + kind.subtitles);
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
    const Bytes& drawn = Draw("font.mkv", "subtitles=font.mkv");
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

// Subtitles that are pictures, of discs and broadcasts, against those that ffmpeg lays over.
#include "platform/linux/ds/file/SubtitlePictures.h"
#include "tests/platform/linux/ds/file/SubtitleKit.h"

namespace Vimbrel::test {
namespace {

constexpr int oval_width = 120;
constexpr int oval_height = 40;

void Append(Bytes& bytes, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// A stream of the kind that Blu-rays have, for ffmpeg to convert.
class DiscStream {
public:
    // An oval in four colours, of which two let the picture through.
    void Show(double seconds, int x, int y) {
        Bytes data = Composition(0x80, 1);
        for (const auto& [value, size] : {std::pair{0, 2}, {0, 1}, {0, 1}, {x, 2}, {y, 2}})
            Append(data, static_cast<std::uint64_t>(value), size);
        Segment(seconds, 0x16, data);
        data = {1, 0};
        for (const int each : {x, y, oval_width, oval_height})
            Append(data, static_cast<std::uint64_t>(each), 2);
        Segment(seconds, 0x17, data);
        Segment(seconds, 0x14, {0,   0, 1,  235, 128, 128, 255, 2,  81,  240, 90,
                                255, 3, 40, 110, 240, 128, 4,   16, 128, 128, 200});
        const Bytes oval = Oval();
        data = {0, 0, 0, 0xC0};
        Append(data, oval.size() + 4, 3);
        Append(data, oval_width, 2);
        Append(data, oval_height, 2);
        data.insert(data.end(), oval.begin(), oval.end());
        Segment(seconds, 0x15, data);
        Segment(seconds, 0x80, {});
    }
    void Clear(double seconds) {
        Segment(seconds, 0x16, Composition(0, 0));
        Segment(seconds, 0x17, {0});
        Segment(seconds, 0x80, {});
    }
    Bytes bytes;

private:
    Bytes Composition(int state, int objects) {
        Bytes data;
        Append(data, width, 2);
        Append(data, height, 2);
        data.push_back(0x10);
        Append(data, static_cast<std::uint64_t>(number++), 2);
        for (const int each : {state, 0, 0, objects})
            data.push_back(static_cast<std::uint8_t>(each));
        return data;
    }
    static Bytes Oval() {
        Bytes runs;
        for (int y = 0; y < oval_height; ++y) {
            for (int x = 0; x < oval_width; ++x) {
                const double u = (x - 60) / 60.0;
                const double v = (y - 20) / 20.0;
                if (u * u + v * v > 1) {
                    runs.insert(runs.end(), {0, 1});
                } else {
                    runs.push_back(static_cast<std::uint8_t>(1 + x / 30));
                }
            }
            runs.insert(runs.end(), {0, 0});
        }
        return runs;
    }
    void Segment(double seconds, int type, const Bytes& data) {
        bytes.insert(bytes.end(), {'P', 'G'});
        Append(bytes, static_cast<std::uint64_t>(seconds * 90'000), 4);
        Append(bytes, 0, 4);
        Append(bytes, static_cast<std::uint64_t>(type), 1);
        Append(bytes, data.size(), 2);
        bytes.insert(bytes.end(), data.begin(), data.end());
    }

    int number = 0;
};

struct Codec {
    const char* name;
    const char* options;  // of the stream's reader
    int rate = 100;
};

void PrintTo(const Codec& codec, std::ostream* out) { *out << codec.name; }

class PictureSubtitles : public SubtitleKit, public testing::WithParamInterface<Codec> {
protected:
    static void SetUpTestSuite() {
        SubtitleKit::SetUpTestSuite();
        DiscStream stream;
        stream.Clear(0);
        stream.Show(0.3, 100, 130);
        stream.Clear(0.82);
        stream.Show(1.1, 21, 11);
        stream.Clear(3.5);
        folder->Write("ovals.sup", stream.bytes);
    }
};

TEST_P(PictureSubtitles, AreDrawnAtTheirTimeAndPlace) {
    const Codec& codec = GetParam();
    const std::string file = std::string(codec.name) + std::to_string(codec.rate) + ".mkv";
    folder->Run(std::string("ffmpeg -nostdin -y -loglevel error -i pictures.mkv ") + codec.options +
                " -i ovals.sup -map 0 -map 1 -c:v copy -c:s " + codec.name + " " + file);
    const Bytes& drawn = Draw(file, "[0:v][0:s]overlay");
    source.SetRate(codec.rate);
    ASSERT_TRUE(Open(file));
    // ffmpeg may be late by some pictures, so that those next to a change are left out.
    for (const int number : {5, 15, 50, 95, 24}) CompareOne(drawn, number);
}

// As they are, and as ffmpeg encodes them for DVDs, with fewer colours, and for broadcasts.
INSTANTIATE_TEST_SUITE_P(All, PictureSubtitles,
                         testing::Values(Codec{"copy", ""}, Codec{"dvdsub", "-fix_sub_duration"},
                                         Codec{"dvdsub", "-fix_sub_duration", 200},
                                         Codec{"dvbsub", "-fix_sub_duration"}),
                         [](const auto& each) {
                             return each.param.name + std::to_string(each.param.rate);
                         });

// A square of one colour on a canvas of another size, within nothing.
TEST(StretchedSubtitles, KeepTheirPlaceAndColour) {
    for (const int larger : {1, 2, 3}) {
        for (const bool shrinks : {false, true}) {
            std::vector<std::uint8_t> indices(8 * 8, 0);
            for (int i = 0; i < 64; ++i) indices[i] = i % 8 >= 2 && i / 8 >= 2 ? 1 : 0;
            std::uint32_t palette[256] = {0x0000FF00, 0xFF204060};
            AVSubtitleRect rect{};
            rect.type = SUBTITLE_BITMAP;
            rect.x = rect.y = 8;
            rect.w = rect.h = rect.linesize[0] = 8;
            rect.data[0] = indices.data();
            rect.data[1] = reinterpret_cast<std::uint8_t*>(palette);
            AVSubtitleRect* rects[] = {&rect};
            AVSubtitle subtitle{};
            subtitle.num_rects = 1;
            subtitle.rects = rects;
            const int canvas = shrinks ? 48 * larger : 48;
            const int shown = shrinks ? 48 : 48 * larger;
            const double stretch = static_cast<double>(shown) / canvas;
            MaskPainter painter;
            painter.SetType(VideoType(MEDIASUBTYPE_RGB32, shown, -shown,
                                      static_cast<DWORD>(shown * shown * 4)));
            Bytes picture(static_cast<std::size_t>(shown) * shown * 4, 0);
            SubtitlePictures pictures;
            pictures.Add(subtitle, canvas, canvas, 100, 30'000);
            pictures.Draw(99 - 10'000, painter, picture.data(),
                          static_cast<std::int64_t>(picture.size()));
            EXPECT_EQ(picture, Bytes(picture.size(), 0)) << "before its time";
            pictures.Draw(100, painter, picture.data(), static_cast<std::int64_t>(picture.size()));
            const auto at = [&](double place) {
                const int pixel = static_cast<int>(place * stretch);
                return std::vector<int>(picture.begin() + (pixel * shown + pixel) * 4,
                                        picture.begin() + (pixel * shown + pixel) * 4 + 3);
            };
            EXPECT_EQ(at(13), (std::vector{0x60, 0x40, 0x20})) << canvas << " to " << shown;
            EXPECT_EQ(at(6), (std::vector{0, 0, 0})) << canvas << " to " << shown;
            EXPECT_EQ(at(19), (std::vector{0, 0, 0})) << canvas << " to " << shown;
            const Bytes before = picture;
            pictures.Draw(30'100, painter, picture.data(),
                          static_cast<std::int64_t>(picture.size()));
            EXPECT_EQ(picture, before) << "after its end";
            // Nothing of the invisible green comes in at the edge.
            for (std::size_t i = 0; i < picture.size(); i += 4)
                EXPECT_LE(picture[i + 1], 0x40) << canvas << " to " << shown;
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

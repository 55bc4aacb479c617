// Pictures with subtitles in them, compared with those that ffmpeg draws.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "tests/support/MediaFiles.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {

inline constexpr int width = 320;
inline constexpr int height = 180;
// The pictures that are compared: before, within and after the lines, in no order of theirs.
inline constexpr int compared[] = {5, 10, 19, 20, 50, 89, 90, 15, 30, 24, 95};

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

inline double PeakRatio(const std::uint8_t* a, const std::uint8_t* b) {
    double sum = 1e-9;
    for (int i = 0; i < width * height * 4; ++i) {
        const double difference = i % 4 == 3 ? 0 : static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return 10 * std::log10(255.0 * 255.0 * 3 * width * height / sum);
}

class SubtitleKit : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = new TempFolder;
        folder->Run(
            "ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=320x180:r=25:d=4 -c:v libx264 "
            "-preset fast -qp 8 -g 25 -bf 2 -threads 1 pictures.mkv");
    }
    static void TearDownTestSuite() {
        drawings.clear();
        delete folder;
        folder = nullptr;
    }
    SubtitleKit() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        source.SetDispatcher(&taker);
        source.SetAutoloadSubtitle(true);
    }
    ~SubtitleKit() override {
        source.Close();
        CoUninitialize();
    }

    // What ffmpeg draws by `filter` into the compared pictures, in the file's order; once for each
    // pair.
    static const Bytes& Draw(const std::string& file, const std::string& filter) {
        Bytes& drawn = drawings[file + filter];
        if (drawn.empty()) {
            std::string numbers;
            for (const int number : compared) numbers += "+eq(n," + std::to_string(number) + ")";
            folder->Run("ffmpeg -nostdin -y -loglevel error -i " + file + " -filter_complex \"" +
                        filter + ",select='0" + numbers +
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

}  // namespace Vimbrel::test

// Media files in a scene: which pictures are shown, and what is said of wrong files and numbers.
#include "apps/vimbrel/layers/MediaLayer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/TempFolder.h"
#include "tests/support/WaitUntil.h"

namespace studio {
namespace {

using Vimbrel::test::TempFolder;
using Vimbrel::test::WaitUntil;

constexpr int width = 64;
constexpr int height = 48;

class MediaLayerTest : public testing::Test {
protected:
    // 50 pictures, whose halves show the digits of their numbers to the base 16 as grey levels.
    static void SetUpTestSuite() {
        folder = new TempFolder;
        folder->Run(
            "ffmpeg -nostdin -loglevel error -f lavfi -i \"color=s=64x48:r=25:d=2,"
            "geq=lum='24+13*if(lt(X,32),floor(N/16),mod(N,16))':cb=128:cr=128\" "
            "-f lavfi -i sine=d=2 -c:v libx264 -qp 4 -bf 2 -g 10 film.mkv");
        folder->Run("ffmpeg -nostdin -loglevel error -i film.mkv -vn sound.mka");
        folder->Write("letter.mkv", std::string("This is a letter, not a film.\n"));
        folder->Run("head -c 600 film.mkv > cut.mkv");
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    std::unique_ptr<Layer> Open(const char* file) {
        description.file = *folder / file;
        LayerDescription layer;
        layer.place = "layers[3]";
        layer.rect = {0, 0, width, height};
        return MediaLayer::Open(layer, description, error);
    }
    // The number of the picture that is shown; -1 for none.
    int Number(Layer& layer) {
        Raster canvas(width, height);
        layer.Draw(0, canvas);
        const auto digit = [&](int x) {
            return static_cast<int>(
                std::lround((16 + canvas.At(x, height / 2)[1] * 219.0 / 255 - 24) / 13));
        };
        return std::max(-1, digit(width / 4) * 16 + digit(width * 3 / 4));
    }

    MediaDescription description;
    std::string error;
    inline static TempFolder* folder = nullptr;
};

TEST_F(MediaLayerTest, PlaysFromStartToStopAndOverAgain) {
    for (const bool loop : {false, true}) {
        description.start = 1.02;
        description.stop = 1.19;
        description.loop = loop;
        const auto layer = Open("film.mkv");
        ASSERT_TRUE(layer) << error;
        int before = -1;
        bool rose = true;
        EXPECT_TRUE(WaitUntil([&] {
            const int number = Number(*layer);
            if (number < 0 && before < 0) return false;
            EXPECT_GE(number, 25);
            EXPECT_LE(number, 29);
            rose = rose && number >= before;
            before = number;
            return loop ? !rose : number == 29;
        })) << before;
        EXPECT_EQ(rose, !loop);
    }
}

TEST_F(MediaLayerTest, SaysWhatIsWrong) {
    const struct {
        const char* file;
        int audio_stream;
        const char* message;
    } cases[] = {
        {"nowhere.mkv", -1, "layers[3].file: "},
        {"letter.mkv", -1, "layers[3].file: "},
        {"cut.mkv", -1, "layers[3].file: "},
        {"sound.mka", -1, "layers[3].file: "},
        {"film.mkv", 0, "layers[3].audio-stream: "},
        {"film.mkv", 2, "layers[3].audio-stream: "},
        {"film.mkv", 1, ""},
    };
    for (const auto& each : cases) {
        error.clear();
        description.audio_stream = each.audio_stream;
        const auto layer = Open(each.file);
        EXPECT_EQ(layer == nullptr, each.message[0] != 0) << each.file << each.audio_stream;
        EXPECT_EQ(error.rfind(each.message, 0), 0u) << error;
    }
}

}  // namespace
}  // namespace studio

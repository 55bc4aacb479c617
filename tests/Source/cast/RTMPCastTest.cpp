// Casts to real servers, read back by foreign programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "rtmpencoder/live_encoder_h264.h"
#include "tests/support/MarkedCast.h"
#include "tests/support/Proxy.h"
#include "tests/support/RtmpServer.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

std::string Probe(const RtmpServer& server, const std::string& file, const std::string& stream,
                  const std::string& entries) {
    return server.folder.Run("ffprobe -v quiet -select_streams " + stream +
                             " -count_frames -show_entries stream=" + entries + " -of csv=p=0 " +
                             file);
}

// What the encoder makes of the same pictures when nothing is between it and the test.
class EncodedAlone final : public live_encoder::dispatcher {
public:
    explicit EncodedAlone(int frames) {
        live_encoder_h264 encoder;
        encoder.dispatcher = this;
        encoder.quality = 0;
        encoder.width = width;
        encoder.height = height;
        EXPECT_TRUE(encoder.start());
        for (int number = 0; number < frames; ++number) {
            auto frame = std::make_unique<live_encoder_h264::packet_video>();
            const auto picture = Picture(number);
            const std::size_t row = std::size_t{4} * width;
            frame->width = width;
            frame->height = height;
            frame->time = 10'000'000 + number * 333'333LL;
            frame->data = std::make_unique<std::uint8_t[]>(picture.size());
            for (std::size_t y = 0; y < height; ++y)
                std::memcpy(frame->data.get() + (height - 1 - y) * row, picture.data() + y * row,
                            row);
            std::unique_ptr<live_encoder::packet> packet = std::move(frame);
            encoder.post(packet);
            WaitUntil([&] { return count > number; });
        }
        encoder.stop();
        EXPECT_EQ(count, frames);
    }
    void dispatch(encoded_frame_ptr& frame) override {
        stream.append(reinterpret_cast<const char*>(frame->data),
                      static_cast<std::size_t>(frame->size));
        ++count;
    }

    std::string stream;

private:
    std::atomic<int> count{0};
};

TEST(RTMPCast, ArrivesWholeAtARealServer) {
    for (const Framing framing : {Framing::Native, Framing::Standard}) {
        RtmpServer server;
        constexpr int frames = 90;
        const auto cast = MakeCast(server.Url("live", "key"), framing);
        ASSERT_EQ(cast->Start(), 0);
        Play(*cast, frames);
        EXPECT_GT(cast->GetCurrentBitRate(), 0);
        EXPECT_GT(cast->GetAverageBitRate(), 0);
        cast->Stop();
        ASSERT_TRUE(server.WaitForFiles());

        const std::string file = server.Recording("key").string();
        EXPECT_EQ(Probe(server, file, "v", "codec_name,profile,width,height,nb_read_frames"),
                  "h264,Main,320,240," + std::to_string(frames) + "\n");
        EXPECT_EQ(Probe(server, file, "a", "codec_name,profile,sample_rate,channels"),
                  "aac,LC,44100,2\n");
        const int sound_frames = std::stoi(Probe(server, file, "a", "nb_read_frames"));
        EXPECT_NEAR(sound_frames, 3.0 * 44100 / 1024, 3);
        // The picture is upright and its colours are right.
        std::string pictures;
        for (int i = 0; i < frames; ++i) {
            const auto picture = Picture(i);
            pictures.append(picture.begin(), picture.end());
        }
        server.folder.Write("pictures", pictures);
        const std::string psnr =
            server.folder.Run("ffmpeg -v quiet -i " + file +
                              " -f rawvideo -pix_fmt bgra -s 320x240 -framerate 30 -i pictures "
                              "-vsync passthrough -lavfi "
                              "'[0:v]settb=1/30,setpts=N,format=yuv420p[a];[1:v]settb=1/"
                              "30,setpts=N,format=yuv420p[b];[a][b]psnr=stats_file=psnr' -f null - "
                              "; "
                              "awk '{sub(/.*psnr_avg:/, \"\"); sum += $1; n++} END {print (n == 90 "
                              "&& sum / n > 35) ? \"good\" : sum / n \" \" n}' psnr");
        EXPECT_EQ(psnr, "good\n");
        if (framing == Framing::Standard) {
            EXPECT_EQ(server.folder.Run("ffmpeg -v error -i " + file + " -f null -"), "");
        }
        // Nothing of the pictures changed on the way.
        server.folder.Write("alone.h264", EncodedAlone(frames).stream);
        const auto hashes = [&](const std::string& of) {
            return server.folder.Run(
                "ffmpeg -v quiet -i " + of +
                " -map 0:v -vsync passthrough -f framemd5 - | grep -v '^#' | sed 's/.*, *//'");
        };
        const std::string expected = hashes("alone.h264");
        EXPECT_EQ(std::count(expected.begin(), expected.end(), '\n'), frames);
        EXPECT_EQ(hashes(file), expected);
    }
}

// A server that looks into the payload.
TEST(RTMPCast, StandardFramingIsCutIntoHls) {
    RtmpServer server;
    const auto cast = MakeCast(server.Url("hls", "key"), Framing::Standard);
    ASSERT_EQ(cast->Start(), 0);
    Play(*cast, 120);
    cast->Stop();
    ASSERT_TRUE(server.WaitForFiles());
    EXPECT_EQ(server.folder.Run("cat hls/key-*.ts > all.ts; ffprobe -v error -select_streams v "
                                "-count_frames -show_entries "
                                "stream=nb_read_frames -of csv=p=0 all.ts | head -1"),
              "120\n");
}

TEST(RTMPCast, FramesOfOtherSizesAreFitted) {
    RtmpServer server;
    const auto cast = MakeCast(server.Url("live", "key"), Framing::Standard);
    ASSERT_EQ(cast->Start(), 0);
    Play(*cast, 30, 641, 361);
    Play(*cast, 30, 90, 160, 30'000'000);
    cast->Stop();
    ASSERT_TRUE(server.WaitForFiles());
    EXPECT_EQ(Probe(server, server.Recording("key").string(), "v", "width,height,nb_read_frames"),
              "320,240,60\n");
    // 641 x 361 in 320 x 240 leaves 30 rows of black above and below; 90 x 160 leaves 92 columns on
    // both sides.
    const auto pixel = [&](const std::string& time, int x, int y) {
        return server.folder.Run(
            "ffmpeg -v error -ss " + time + " -i " + server.Recording("key").string() +
            " -frames:v 1 -vf crop=2:2:" + std::to_string(x) + ":" + std::to_string(y) +
            ",scale=1:1 -pix_fmt rgb24 -f rawvideo - | od -An -tu1 | awk '{print ($1 > 200), ($2 > "
            "200), ($3 > 200)}'");
    };
    EXPECT_EQ(pixel("0.5", 160, 10), "0 0 0\n");
    EXPECT_EQ(pixel("0.5", 300, 50), "1 0 0\n");
    EXPECT_EQ(pixel("0.5", 300, 190), "0 0 1\n");
    EXPECT_EQ(pixel("0.5", 160, 230), "0 0 0\n");
}

TEST(RTMPCast, FailuresOfTheStartHaveTheirCodes) {
    RtmpServer server;
    const struct {
        const char* what;
        std::string url;
        int status;
    } cases[] = {
        {"no URL", "", RTMPCAST_BAD_URL},
        {"no protocol", "127.0.0.1/live/key", RTMPCAST_BAD_URL},
        {"nobody listens", "rtmp://127.0.0.1:" + std::to_string(FreePort()) + "/live/key",
         RTMPCAST_CONNECTION_FAILED},
        {"no such host", "rtmp://host.invalid/live/key", RTMPCAST_CONNECTION_FAILED},
        {"no such application", server.Url("nowhere", "key"), RTMPCAST_STREAM_FAILED},
    };
    for (const auto& row : cases) {
        const auto cast = MakeCast(row.url);
        std::atomic<int> calls{0};
        cast->SetCallback([&](int) { ++calls; });
        EXPECT_EQ(cast->Start(), row.status) << row.what;
        Play(*cast, 2);
        EXPECT_EQ(cast->Start(), RTMPCAST_ENCODER_FAILED) << row.what;
        cast->Stop();
        EXPECT_EQ(calls, 0) << row.what;
    }
}

// This server keeps the connection; its word counts and not the end of a wait.
TEST(RTMPCast, AKeyThatIsTakenIsRefusedAtOnce) {
    RtmpServer server;
    const auto first = MakeCast(server.Url("live", "key"));
    ASSERT_EQ(first->Start(), 0);
    const auto second = MakeCast(server.Url("live", "key"));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(second->Start(), RTMPCAST_STREAM_FAILED);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s);
}

TEST(RTMPCast, ALostLinkIsToldOnce) {
    RtmpServer server;
    for (const long cut_after : {20000L, 50001L}) {
        Proxy proxy(server.port);
        const auto cast = MakeCast(proxy.Url("live", "key"));
        std::atomic<int> calls{0};
        std::atomic<int> status{0};
        CMediaRTMPCast* const inside = cast.get();
        cast->SetCallback([&, inside](int code) {
            status = code;
            ++calls;
            inside->Stop();
        });
        proxy.cut_after = cut_after;
        ASSERT_EQ(cast->Start(), 0);
        for (int i = 0; i < 20 && calls == 0; ++i) Play(*cast, 30);
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(status, RTMPCAST_CONNECTION_FAILED);
        Play(*cast, 2);
        cast->Stop();
        EXPECT_EQ(calls, 1);
    }
}

TEST(RTMPCast, StartsOnceAndStopsAtAnyTime) {
    RtmpServer server;
    const auto idle = MakeCast(server.Url("live", "key"));
    idle->Stop();
    for (int round = 0; round < 20; ++round) {
        const auto cast = MakeCast(server.Url("live", "key"),
                                   round % 2 == 0 ? Framing::Native : Framing::Standard);
        ASSERT_EQ(cast->Start(), 0);
        if (round % 4 < 2) cast->Stop();
        EXPECT_EQ(cast->Start(), RTMPCAST_ENCODER_FAILED);
    }
}

}  // namespace
}  // namespace Vimbrel::test

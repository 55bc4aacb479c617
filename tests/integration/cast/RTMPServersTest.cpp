// Casts to servers of other kinds, and to one that dies and comes back.
#include <gtest/gtest.h>

#include "tests/support/CastSession.h"
#include "tests/support/RtmpServer.h"
#include "vimbrel/ReconnectingCast.h"

namespace Vimbrel::test {
namespace {

TEST(RTMPServers, AStreamComesBackToAServerThatDied) {
    RtmpServer server;
    std::atomic<int> losses{0};
    std::atomic<int> returns{0};
    const auto progress = std::make_shared<RTMPCastProgress>();
    const auto cast = CreateReconnectingCast(
        {.cast = {.framing = Framing::Standard, .progress = progress},
         .first_wait = 50ms,
         .on_change = [&](bool connected) { ++(connected ? returns : losses); }});
    ASSERT_TRUE(cast);
    cast->SetServer(server.Url("live", "key"), "", "");
    cast->SetVideoOutputFormat(width, height, 30, 1);
    ASSERT_EQ(cast->Start(), 0);
    Play(*cast, 15);
    server.Stop();
    for (int i = 0; i < 40 && losses == 0; ++i) Play(*cast, 5);
    EXPECT_EQ(returns, 0);
    const std::uint64_t before = progress->sent;
    std::filesystem::remove(server.Recording("key"));
    server.Start();
    for (int i = 0; i < 40 && returns == 0; ++i) Play(*cast, 5);
    Play(*cast, 30);
    EXPECT_TRUE(WaitUntil([&] { return progress->taken == progress->sent + progress->dropped; }));
    cast->Stop();
    EXPECT_EQ(losses, 1);
    EXPECT_EQ(returns, 1);
    ASSERT_TRUE(server.WaitForFiles());
    EXPECT_EQ(server.folder.Run("ffprobe -v quiet -select_streams v -count_frames -show_entries "
                                "stream=nb_read_frames -of csv=p=0 " +
                                server.Recording("key").string()),
              std::to_string(progress->sent - before) + "\n");
}

// With a certificate that nobody vouches for: it is not looked at, and so the cast stands.
TEST(RTMPServers, TlsIsSpokenAndTheCertificateNotVerified) {
    RtmpServer server;
    server.folder.Run(
        "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=elsewhere.invalid -keyout "
        "key.pem -out cert.pem");
    const std::uint16_t port = FreePort();
    const std::string place = server.folder.path.string();
    server.folder.Write(
        "stunnel.conf",
        "foreground = yes\npid =\n[rtmps]\naccept = 127.0.0.1:" + std::to_string(port) +
            "\nconnect = 127.0.0.1:" + std::to_string(server.port) + "\ncert = " + place +
            "/cert.pem\nkey = " + place + "/key.pem\n");
    ChildProcess tunnel({"stunnel4", place + "/stunnel.conf"}, place + "/stunnel.log");
    ASSERT_TRUE(WaitForListener(port)) << ReadText(server.folder / "stunnel.log");
    const auto cast = MakeCast("rtmps://127.0.0.1:" + std::to_string(port) + "/live/key");
    ASSERT_EQ(cast->Start(), 0);
    Play(*cast, 30);
    cast->Stop();
    ASSERT_TRUE(server.WaitForFiles());
    EXPECT_EQ(server.folder.Run("ffprobe -v quiet -select_streams v -count_frames -show_entries "
                                "stream=nb_read_frames -of csv=p=0 " +
                                server.Recording("key").string()),
              "30\n");
}

TEST(RTMPServers, FfmpegsListenerDecodesEveryFrame) {
    for (const Framing framing : {Framing::Native, Framing::Standard}) {
        const TempFolder folder;
        const std::uint16_t port = FreePort();
        const std::string url = "rtmp://127.0.0.1:" + std::to_string(port) + "/live/key";
        ChildProcess listener(
            {"ffmpeg", "-v",          "error", "-y",       "-listen",
             "1",      "-i",          url,     "-map",     "0:v",
             "-vsync", "passthrough", "-f",    "framecrc", (folder / "frames").string(),
             "-map",   "0:a",         "-f",    "framecrc", (folder / "sound").string()},
            (folder / "printed").string());
        ASSERT_TRUE(WaitForListener(port)) << ReadText(folder / "printed");
        const auto cast = MakeCast(url, framing);
        ASSERT_EQ(cast->Start(), 0);
        Play(*cast, 60);
        cast->Stop();
        EXPECT_TRUE(listener.WaitForEnd(20s)) << ReadText(folder / "printed");
        EXPECT_EQ(folder.Run("grep -vc '^#' frames"), "60\n") << ReadText(folder / "printed");
        EXPECT_NEAR(std::stoi(folder.Run("grep -vc '^#' sound")), 2.0 * 44100 / 1024, 4);
    }
}

}  // namespace
}  // namespace Vimbrel::test

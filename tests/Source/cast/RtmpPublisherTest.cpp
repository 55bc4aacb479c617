// Connections and logins, against a session that answers as the test says.
#include "Source/cast/RtmpPublisher.h"

#include <gtest/gtest.h>

#include "Source/cast/Md5.h"
#include "tests/fakes/FakePublishingSession.h"
#include "tests/support/AmfText.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel::test {
namespace {

using Verdicts = std::vector<CommandVerdict>;

TEST(RtmpPublisher, FailuresHaveTheirCodesAndLeaveNoSession) {
    const struct {
        const char* what;
        void (*prepare)(FakePublishingServer&);
        int status;
    } cases[] = {
        {"works", [](FakePublishingServer&) {}, RTMPCAST_OK},
        {"URL", [](FakePublishingServer& s) { s.takes_url = false; }, RTMPCAST_BAD_URL},
        {"server", [](FakePublishingServer& s) { s.connects = false; }, RTMPCAST_CONNECTION_FAILED},
        {"stream", [](FakePublishingServer& s) { s.opens = false; }, RTMPCAST_STREAM_FAILED},
        {"socket", [](FakePublishingServer& s) { s.connected = false; }, RTMPCAST_STREAM_FAILED},
    };
    for (const auto& row : cases) {
        FakePublishingServer server;
        row.prepare(server);
        RtmpPublisher publisher(server.Factory());
        EXPECT_FALSE(publisher.IsAlive());
        EXPECT_EQ(publisher.Connect("url", "", ""), row.status) << row.what;
        EXPECT_EQ(server.alive, row.status == RTMPCAST_OK ? 1 : 0) << row.what;
        EXPECT_EQ(publisher.IsAlive(), row.status == RTMPCAST_OK) << row.what;
        server.timed_out = true;
        EXPECT_FALSE(publisher.IsAlive()) << row.what;
    }
    RtmpPublisher without([] { return std::unique_ptr<PublishingSession>(); });
    EXPECT_EQ(without.Connect("url", "", ""), RTMPCAST_CONNECTION_FAILED);
}

TEST(RtmpPublisher, AsksForTheTargetWithoutTheLoginAsThePlayersAddress) {
    FakePublishingServer server;
    RtmpPublisher publisher(server.Factory());
    ASSERT_EQ(publisher.Connect("url", "", ""), RTMPCAST_OK);
    const PublishingRequest request = server.Requests().at(0);
    EXPECT_EQ(request.application, "live");
    EXPECT_EQ(request.target_url, "rtmp://host/live");
    EXPECT_EQ(request.player_url, "rtmp://host/live");
    EXPECT_EQ(request.client, "FMLE/3.0 (compatible; FMSc/1.0)");
    EXPECT_EQ(request.timeout_seconds, 0);
}

// Commands that cannot be read are kept from the session: its library would lose memory on them.
TEST(RtmpPublisher, JudgesTheServersCommands) {
    const std::string refusal = AmfCommand("onStatus", AmfStatus("error", "In use."));
    const struct {
        const char* what;
        std::string command;
        CommandVerdict verdict;
    } cases[] = {
        {"result", AmfCommand("_result", AmfStatus("status", "Good.")), CommandVerdict::Handle},
        {"publishing", AmfCommand("onStatus", AmfStatus("status", "Go.")), CommandVerdict::Handle},
        {"refusal", refusal, CommandVerdict::Refuse},
        {"error of another call", AmfCommand("_error", AmfStatus("error", "?")),
         CommandVerdict::Handle},
        {"cut off", refusal.substr(0, refusal.size() - 6), CommandVerdict::Ignore},
    };
    for (const auto& row : cases) {
        FakePublishingServer server;
        server.commands = [&](const PublishingRequest&) { return std::vector{row.command}; };
        RtmpPublisher publisher(server.Factory());
        const bool refused = row.verdict == CommandVerdict::Refuse;
        EXPECT_EQ(publisher.Connect("url", "joe", "secret"),
                  refused ? RTMPCAST_STREAM_FAILED : RTMPCAST_OK)
            << row.what;
        EXPECT_EQ(server.Verdicts(), Verdicts{row.verdict}) << row.what;
        EXPECT_EQ(server.sessions, 1) << row.what;
    }
}

TEST(RtmpPublisher, LogsInAndGivesUpAfterTheQuestion) {
    for (const bool accepts : {true, false}) {
        FakePublishingServer server;
        server.target.user = "jim";
        server.target.password = "secret";
        server.commands = [&](const PublishingRequest& request) -> std::vector<std::string> {
            const auto has = [&](const char* part) {
                return request.application.find(part) != std::string::npos;
            };
            if (accepts && has("&response=")) return {};
            const std::string words =
                has("authmod=adobe") ? "authmod=adobe ] : ?reason=needauth&user=joe&salt=c2FsdA=="
                                       "&challenge=Y2hhbGw=&opaque=b3BhcXVl"
                                     : "code=403 need auth; authmod=adobe ] : ";
            return {AmfCommand("_error", AmfStatus("error", words))};
        };
        RtmpPublisher publisher(server.Factory());
        EXPECT_EQ(publisher.Connect("url", "joe", ""),
                  accepts ? RTMPCAST_OK : RTMPCAST_STREAM_FAILED);
        const auto requests = server.Requests();
        ASSERT_EQ(requests.size(), 3U);
        EXPECT_EQ(requests[1].application, "live?authmod=adobe&user=joe");
        EXPECT_EQ(requests[1].target_url, "rtmp://host/live?authmod=adobe&user=joe");
        EXPECT_EQ(requests[2].application.rfind(requests[1].application + "&challenge=", 0), 0U);
        EXPECT_EQ(requests[2].player_url, "rtmp://host/live");
    }
}

TEST(RtmpPublisher, ControlAndMediaGoTheirOwnChannels) {
    FakePublishingServer server;
    RtmpPublisher publisher(server.Factory());
    ASSERT_EQ(publisher.Connect("url", "", ""), RTMPCAST_OK);
    EXPECT_TRUE(publisher.SetChunkSize(4096));
    EXPECT_EQ(server.chunk_size, 4096U);
    RtmpMessage sound;
    sound.PutAac(std::vector<std::uint8_t>{1, 2});
    EXPECT_EQ(publisher.Send(sound, ChunkHeader::Medium, 77), 1);
    const auto sent = server.Sent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].channel, 2);
    EXPECT_FALSE(sent[0].of_stream);
    EXPECT_EQ(sent[1].channel, 4);
    EXPECT_TRUE(sent[1].of_stream);
    EXPECT_EQ(sent[1].header, ChunkHeader::Medium);
    EXPECT_EQ(sent[1].time, 77U);
    server.on_send = [](const SentMessage&) { return 0; };
    EXPECT_FALSE(publisher.SetChunkSize(100));
    EXPECT_EQ(server.chunk_size, 4096U);
}

// The digests of the published examples.
TEST(Md5, OfKnownTexts) {
    const struct {
        std::string text;
        Md5Digest digest;
    } cases[] = {
        {"",
         {0xD4, 0x1D, 0x8C, 0xD9, 0x8F, 0x00, 0xB2, 0x04, 0xE9, 0x80, 0x09, 0x98, 0xEC, 0xF8, 0x42,
          0x7E}},
        {"abc",
         {0x90, 0x01, 0x50, 0x98, 0x3C, 0xD2, 0x4F, 0xB0, 0xD6, 0x96, 0x3F, 0x7D, 0x28, 0xE1, 0x7F,
          0x72}},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         {0x57, 0xED, 0xF4, 0xA2, 0x2B, 0xE3, 0xC9, 0x55, 0xAC, 0x49, 0xDA, 0x2E, 0x21, 0x07, 0xB6,
          0x7A}},
    };
    for (const auto& row : cases) EXPECT_EQ(Md5(row.text), row.digest) << row.text;
}

}  // namespace
}  // namespace Vimbrel::test

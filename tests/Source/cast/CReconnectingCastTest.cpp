#include "Source/cast/CReconnectingCast.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <mmreg.h>

#include <climits>

#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

// What all sessions are told, and how they answer.
struct Server {
    std::vector<int> answers;  // to the first starts; later ones succeed
    std::atomic<std::size_t> starts{0};
    std::atomic<int> alive{0};
    std::mutex lock;
    std::vector<std::string> calls;
    std::function<void(int)> lost;  // of the newest session

    void Add(const std::string& call) {
        const std::lock_guard guard(lock);
        calls.push_back(call);
    }
    std::vector<std::string> Taken() {
        const std::lock_guard guard(lock);
        return std::exchange(calls, {});
    }
};

class Session final : public CMediaRTMPCast {
public:
    Session(Server& other_end, std::shared_ptr<RTMPCastProgress> counters)
        : server(other_end), progress(std::move(counters)) {
        ++server.alive;
    }
    ~Session() override { --server.alive; }
    void SetCallback(std::function<void(int)> function) override {
        const std::lock_guard guard(server.lock);
        server.lost = std::move(function);
    }
    void SetServer(const std::string& url, const std::string& user,
                   const std::string& password) override {
        server.Add(url + " " + user + " " + password);
    }
    void SetHardwareEncoder(bool enabled) override {
        server.Add(enabled ? "hardware" : "software");
    }
    void SetVideoOutputFormat(int width, int height, int, int) override {
        server.Add(std::to_string(width) + "x" + std::to_string(height));
    }
    void SetVideoQuality(int quality) override { server.Add("quality " + std::to_string(quality)); }
    void SetAudioOutputFormat(int channels, int rate, int) override {
        server.Add(std::to_string(channels) + " at " + std::to_string(rate));
    }
    void EnableAudio(bool enabled) override { server.Add(enabled ? "sound" : "silence"); }
    void SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) override {
        server.Add("input " + std::to_string(extra ? extra[format.cbSize - 1] : 0));
    }
    int Start() override {
        const std::size_t start = server.starts++;
        return start < server.answers.size() ? server.answers[start] : RTMPCAST_OK;
    }
    void Stop() override {}
    void SetVideoSample(unsigned char*, unsigned, unsigned, int, std::int64_t time) override {
        ++progress->taken;
        // Every other one is still on its way at the end.
        if (time % 2 == 0) ++progress->sent;
    }
    void SetAudioSample(unsigned char*, int, std::int64_t, std::int64_t, unsigned) override {
        server.Add("block");
    }
    int GetCurrentBitRate() override { return 5; }
    int GetAverageBitRate() override { return 7; }

private:
    Server& server;
    const std::shared_ptr<RTMPCastProgress> progress;
};

class ReconnectingCastTest : public testing::Test {
protected:
    CReconnectingCast& Make(std::vector<int> answers, int attempts,
                            std::chrono::milliseconds wait = 1ms) {
        server.answers = std::move(answers);
        const ReconnectingCastOptions options{.cast = {.progress = progress},
                                              .attempts = attempts,
                                              .first_wait = wait,
                                              .longest_wait = 2ms,
                                              .on_change = [this](bool connected) {
                                                  server.Add(connected ? "back" : "away");
                                                  changes += connected ? 1 : 0;
                                              }};
        cast = std::make_unique<CReconnectingCast>(options, [this](const RTMPCastOptions& given) {
            return std::make_unique<Session>(server, given.progress);
        });
        cast->SetCallback([this](int status) { given_up = status; });
        return *cast;
    }
    void Lose() {
        std::unique_lock guard(server.lock);
        const auto lost = server.lost;
        guard.unlock();
        lost(RTMPCAST_CONNECTION_FAILED);
    }
    void Give(int pictures) {
        for (int i = 0; i < pictures; ++i) cast->SetVideoSample(nullptr, 2, 2, 8, i);
    }

    Server server;
    const std::shared_ptr<RTMPCastProgress> progress = std::make_shared<RTMPCastProgress>();
    std::atomic<int> changes{0};
    std::atomic<int> given_up{-1};
    std::unique_ptr<CReconnectingCast> cast;
};

TEST_F(ReconnectingCastTest, EverySessionHasTheSettings) {
    CReconnectingCast& made = Make({0, 3, 4, 0}, 3);
    made.SetServer("url", "user", "password");
    made.SetHardwareEncoder(true);
    made.SetVideoOutputFormat(64, 48, 30, 1);
    made.SetVideoQuality(2);
    made.SetAudioOutputFormat(1, 48000, 16000);
    made.EnableAudio(true);
    WAVEFORMATEX format{};
    made.SetAudioInputFormat(format, nullptr);
    format.cbSize = 2;
    made.SetAudioInputFormat(format, reinterpret_cast<const unsigned char*>("ab"));
    EXPECT_EQ(made.GetCurrentBitRate(), 0);
    ASSERT_EQ(made.Start(), RTMPCAST_OK);
    EXPECT_EQ(made.Start(), RTMPCAST_ENCODER_FAILED);
    const std::vector<std::string> settings = server.Taken();
    EXPECT_EQ(settings,
              (std::vector<std::string>{"url user password", "hardware", "64x48", "quality 2",
                                        "1 at 48000", "sound", "input 0", "input 98"}));
    EXPECT_EQ(made.GetCurrentBitRate() + made.GetAverageBitRate(), 12);
    Lose();
    ASSERT_TRUE(WaitUntil([&] { return changes == 1; }));
    EXPECT_EQ(server.starts, 4U);
    EXPECT_EQ(server.alive, 1);
    std::vector<std::string> expected{"away"};
    for (int attempt = 0; attempt < 3; ++attempt)
        expected.insert(expected.end(), settings.begin(), settings.end());
    expected.push_back("back");
    EXPECT_EQ(server.Taken(), expected);
    made.SetAudioSample(nullptr, 4, 0, 0, 0);
    EXPECT_EQ(server.Taken(), std::vector<std::string>{"block"});
    // The attempts are counted anew.
    Lose();
    EXPECT_TRUE(WaitUntil([&] { return changes == 2; }));
    EXPECT_EQ(given_up, -1);
    made.Stop();
    EXPECT_EQ(server.alive, 0);
}

TEST_F(ReconnectingCastTest, TheFirstStartIsNotTriedAgain) {
    EXPECT_EQ(Make({4}, -1).Start(), RTMPCAST_STREAM_FAILED);
    EXPECT_EQ(server.starts, 1U);
    EXPECT_EQ(server.alive, 0);
}

TEST_F(ReconnectingCastTest, GivesUpWithTheLastStatus) {
    for (const auto& [answers, attempts, status] :
         {std::tuple{std::vector{0, 3, 4}, 2, 4}, std::tuple{std::vector{0}, 0, 3}}) {
        given_up = -1;
        server.starts = 0;
        ASSERT_EQ(Make(answers, attempts).Start(), RTMPCAST_OK);
        Lose();
        EXPECT_TRUE(WaitUntil([&, expected = status] { return given_up == expected; }));
        EXPECT_EQ(server.starts, 1U + static_cast<unsigned>(attempts));
    }
}

TEST_F(ReconnectingCastTest, PicturesThatAreLostAreCounted) {
    ASSERT_EQ(Make({}, -1, 1h).Start(), RTMPCAST_OK);
    Give(10);
    Lose();
    // Five were on their way.
    ASSERT_TRUE(WaitUntil([&] { return progress->dropped == 5; }));
    ASSERT_TRUE(WaitUntil([&] {
        Give(1);
        return progress->taken > 10;
    }));
    EXPECT_EQ(progress->dropped - 5, progress->taken - 10);
    EXPECT_EQ(progress->sent, 5U);
    // Stop does not wait for the hour.
    cast->Stop();
    EXPECT_EQ(given_up, -1);
    Give(1);
    EXPECT_EQ(progress->dropped - 5, progress->taken - 10);
}

TEST_F(ReconnectingCastTest, ACallbackMayStopIt) {
    CReconnectingCast& made = Make({}, 0);
    std::atomic<bool> stopped{false};
    made.SetCallback([&](int) {
        made.Stop();
        stopped = true;
    });
    ASSERT_EQ(made.Start(), RTMPCAST_OK);
    Lose();
    EXPECT_TRUE(WaitUntil([&] { return stopped.load(); }));
}

}  // namespace
}  // namespace Vimbrel::test

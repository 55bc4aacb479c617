#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <utility>
#include <vector>

#include "com/Utf8.h"
#include "tests/platform/TestSource.h"

namespace Vimbrel::test {
namespace {

// A session and the events that it told.
class Recording {
public:
    using Event = std::pair<MediaEventType, HRESULT>;

    Recording(IMFMediaSource* source, const std::string& path, const Scene& scene) {
        ComPtr<IMFTopology> topology;
        EXPECT_EQ(MFCreateTranscodeTopology(source, FromUtf8(path).c_str(), Profile(scene).Get(), topology.Put()), S_OK);
        EXPECT_EQ(MFCreateMediaSession(nullptr, session.Put()), S_OK);
        EXPECT_EQ(session->SetTopology(0, topology.Get()), S_OK);
        listener_ = MakeCom<Callback>([this](IMFAsyncResult* result) { Take(result); });
        EXPECT_EQ(session->BeginGetEvent(listener_.Get(), nullptr), S_OK);
    }
    ~Recording() {
        session->Shutdown();
        EXPECT_TRUE(silent_.WaitFor(1)) << "the pending request of the events was not answered";
    }

    HRESULT Start() {
        const PROPVARIANT position{};
        return session->Start(&GUID_NULL, &position);
    }
    [[nodiscard]] bool WaitFor(MediaEventType type) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, patience, [&] {
            return std::any_of(events_.begin(), events_.end(), [&](const Event& event) { return event.first == type; });
        });
    }
    std::vector<Event> Events() {
        const std::lock_guard guard(lock_);
        return events_;
    }

    ComPtr<IMFMediaSession> session;

private:
    void Take(IMFAsyncResult* result) {
        ComPtr<IMFMediaEvent> event;
        if (session->EndGetEvent(result, event.Put()) == MF_E_SHUTDOWN) return silent_.Add();
        Event told;
        EXPECT_EQ(event->GetType(&told.first), S_OK);
        EXPECT_EQ(event->GetStatus(&told.second), S_OK);
        {
            const std::lock_guard guard(lock_);
            events_.push_back(told);
            changed_.notify_all();
        }
        if (session->BeginGetEvent(listener_.Get(), nullptr) == MF_E_SHUTDOWN) silent_.Add();
    }

    ComPtr<Callback> listener_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Event> events_;
    Counter silent_;
};

class MediaSessionTest : public MediaTest {
protected:
    // A source whose end the test sees.
    ComPtr<TestSource> Source(const Scene& scene) {
        ComPtr<TestSource> source = MakeCom<TestSource>(scene);
        source->gone = &gone_;
        ++made_;
        return source;
    }
    void TearDown() override {
        MediaTest::TearDown();
        EXPECT_EQ(gone_.Value(), made_) << "sources that something still holds";
    }

private:
    Counter gone_;
    int made_ = 0;
};

const std::vector<Recording::Event> whole_recording = {
    {MESessionTopologySet, S_OK}, {MESessionStarted, S_OK}, {MESessionEnded, S_OK}, {MESessionClosed, S_OK}};

TEST_F(MediaSessionTest, RecordsStreamsInWhateverOrderTheyCome) {
    constexpr std::size_t block = 1024;
    struct Case {
        const char* name;
        bool has_video;
        bool has_audio;
        int video_blocks_first;  // sound blocks that are through before the first frame comes
        int frames;
        int blocks;
    };
    const Case cases[] = {
        {"side by side", true, true, 0, 50, 86},
        {"picture only", true, false, 0, 50, 0},
        {"sound only", false, true, 0, 0, 86},
        {"picture 5 s after the sound", true, true, 216, 25, 216},
        {"a stream without sound", true, true, 0, 50, 0},
        {"a stream without picture", true, true, 0, 0, 86},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Scene scene;
        if (!each.has_video) scene.width = 0;
        if (!each.has_audio) scene.sound_rate = 0;
        const TemporaryFile file;
        const ComPtr<TestSource> source = Source(scene);
        {
            Recording recording(source.Get(), file.Path(), scene);
            ASSERT_EQ(recording.Start(), S_OK);
            for (int i = 0; i < each.blocks; ++i) source->PushSound(static_cast<std::int64_t>(i * block), block);
            ASSERT_TRUE(source->taken[0].WaitFor(each.video_blocks_first)) << "sound waits for the picture";
            const int first = each.video_blocks_first > 0 ? 125 : 0;
            for (int i = 0; i < each.frames; ++i) source->PushFrame(first + i);
            source->End();
            ASSERT_TRUE(recording.WaitFor(MESessionEnded));
            ASSERT_EQ(recording.session->Close(), S_OK);
            ASSERT_TRUE(recording.WaitFor(MESessionClosed));
            EXPECT_EQ(recording.Events(), whole_recording);
            source->Shutdown();
        }
        EXPECT_EQ(source->taken[0].Value(), each.blocks);
        EXPECT_EQ(source->taken[1].Value(), each.frames);
        ExpectDecodes(file.Path());
        if (each.frames > 0) {
            EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), std::to_string(each.frames));
            EXPECT_NEAR(Times(file.Path(), "v").front(), each.video_blocks_first > 0 ? 5.0 : 0.0, 0.001);
        }
        if (each.blocks > 0) {
            EXPECT_NEAR(ProbeNumber(file.Path(), "a", "duration"), each.blocks * 1024 / 44100.0, 0.03);
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

// A session under test and the events that it reports.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "com/Utf8.h"
#include "tests/platform/linux/mf/TestSource.h"

namespace Vimbrel::test {

// A session and the events that it reported.
class Recording {
public:
    using Event = std::pair<MediaEventType, HRESULT>;

    Recording(IMFMediaSource* source, const std::string& path, const Scene& scene)
        : Recording(source, path, Profile(scene).Get()) {}
    Recording(IMFMediaSource* source, const std::string& path, IMFTranscodeProfile* profile) {
        ComPtr<IMFTopology> topology;
        EXPECT_EQ(
            MFCreateTranscodeTopology(source, FromUtf8(path).c_str(), profile, topology.Put()),
            S_OK);
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
            return std::any_of(events_.begin(), events_.end(),
                               [&](const Event& event) { return event.first == type; });
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

inline const std::vector<Recording::Event> whole_recording = {{MESessionTopologySet, S_OK},
                                                              {MESessionStarted, S_OK},
                                                              {MESessionEnded, S_OK},
                                                              {MESessionClosed, S_OK}};

}  // namespace Vimbrel::test

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "com/Utf8.h"
#include "tests/platform/linux/mf/TestSource.h"

namespace Vimbrel::test {
namespace {

// A session and the events that it told.
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

const std::vector<Recording::Event> whole_recording = {{MESessionTopologySet, S_OK},
                                                       {MESessionStarted, S_OK},
                                                       {MESessionEnded, S_OK},
                                                       {MESessionClosed, S_OK}};

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
            for (int i = 0; i < each.blocks; ++i)
                source->PushSound(static_cast<std::int64_t>(i * block), block);
            ASSERT_TRUE(source->taken[0].WaitFor(each.video_blocks_first))
                << "sound waits for the picture";
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
            EXPECT_NEAR(Times(file.Path(), "v").front(), each.video_blocks_first > 0 ? 5.0 : 0.0,
                        0.001);
        }
        if (each.blocks > 0) {
            EXPECT_NEAR(ProbeNumber(file.Path(), "a", "duration"), each.blocks * 1024 / 44100.0,
                        0.03);
        }
    }
}

TEST_F(MediaSessionTest, EndOfThePresentationDoesNotOvertakeSamples) {
    Scene scene;
    scene.sound_rate = 0;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    {
        Recording recording(source.Get(), file.Path(), scene);
        ASSERT_EQ(recording.Start(), S_OK);
        ASSERT_TRUE(source->requested.WaitFor(1));
        // Events of the source and of its streams have no order between them.
        source->Tell(MEEndOfPresentation, S_OK);
        for (int i = 0; i < 10; ++i) {
            source->PushFrame(i);
            ASSERT_TRUE(source->requested.WaitFor(i + 2)) << "not asked for after " << i;
        }
        source->End();
        ASSERT_TRUE(recording.WaitFor(MESessionEnded));
        source->Shutdown();
    }
    EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), "10");
}

TEST_F(MediaSessionTest, FailuresEndTheFileAndAreTold) {
    constexpr int before = 30;
    struct Case {
        const char* name;
        bool starts;
        std::function<void(TestSource&)> arrange;
        std::function<void(TestSource&)> break_it;
        Recording::Event expected;
    };
    const auto nothing = [](TestSource&) {};
    const Case cases[] = {
        {"Start refuses",
         false,
         [](TestSource& source) { source.start_result = E_ACCESSDENIED; },
         nothing,
         {MESessionStarted, E_ACCESSDENIED}},
        {"the source does not start",
         false,
         [](TestSource& source) { source.started_status = MF_E_INVALIDREQUEST; },
         nothing,
         {MESessionStarted, MF_E_INVALIDREQUEST}},
        {"an error of the source",
         true,
         nothing,
         [](TestSource& source) { source.Tell(MEError, E_OUTOFMEMORY); },
         {MEError, E_OUTOFMEMORY}},
        {"an error of a source that is not live",
         true,
         [](TestSource& source) { source.characteristics = 0; },
         [](TestSource& source) { source.Tell(MEError, E_OUTOFMEMORY); },
         {MEError, E_OUTOFMEMORY}},
        {"the source is shut down",
         true,
         nothing,
         [](TestSource& source) { source.Shutdown(); },
         {MEError, MF_E_SHUTDOWN}},
    };
    Scene scene;
    scene.sound_rate = 0;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const TemporaryFile file;
        const ComPtr<TestSource> source = Source(scene);
        each.arrange(*source.Get());
        {
            Recording recording(source.Get(), file.Path(), scene);
            ASSERT_EQ(recording.Start(), S_OK);
            if (each.starts) {
                for (int i = 0; i < before; ++i) source->PushFrame(i);
                // The next is asked for when the last is encoded.
                ASSERT_TRUE(source->requested.WaitFor(before + 1));
                ASSERT_TRUE(recording.WaitFor(MESessionStarted));
            }
            each.break_it(*source.Get());
            ASSERT_TRUE(recording.WaitFor(each.expected.first));
            EXPECT_EQ(recording.Events().back(), each.expected);
            const int taken = source->taken[1].Value();
            if (each.expected.second == E_OUTOFMEMORY) {
                for (int i = 0; i < 10; ++i) source->PushFrame(before + i);
            }
            if (each.expected.second == E_OUTOFMEMORY &&
                source->characteristics == MFMEDIASOURCE_IS_LIVE) {
                EXPECT_TRUE(source->taken[1].WaitFor(taken + 10))
                    << "frames of a live source pile up";
            }
            ASSERT_EQ(recording.session->Close(), S_OK);
            ASSERT_TRUE(recording.WaitFor(MESessionClosed));
            EXPECT_EQ(recording.Events().back(), Recording::Event(MESessionClosed, S_OK));
            EXPECT_LE(source->taken[1].Value(), taken + (source->characteristics == 0 ? 1 : 10));
        }
        source->Shutdown();
        if (each.starts) {
            ExpectDecodes(file.Path());
            EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), std::to_string(before));
        } else {
            EXPECT_EQ(std::filesystem::file_size(file.Path()), 0u);
        }
    }
}

TEST_F(MediaSessionTest, FullDiskIsToldWhileFramesGoOn) {
    Scene scene = {.width = 320, .height = 240, .bit_rate = 8'000'000};
    scene.sound_rate = 0;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    {
        Recording recording(source.Get(), file.Path(), scene);
        const rlimit small = {2 << 20, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        ASSERT_EQ(recording.Start(), S_OK);
        for (int i = 0; i < 2000 && recording.Events().size() < 3; ++i) {
            source->PushFrame(i);
            ASSERT_TRUE(source->taken[1].WaitFor(i));
        }
        setrlimit(RLIMIT_FSIZE, &limit);
        ASSERT_TRUE(recording.WaitFor(MEError));
        EXPECT_EQ(recording.Events().back(),
                  Recording::Event(MEError, HRESULT_FROM_WIN32(ERROR_DISK_FULL)));
        source->End();
        ASSERT_EQ(recording.session->Close(), S_OK);
        ASSERT_TRUE(recording.WaitFor(MESessionClosed));
    }
    std::signal(SIGXFSZ, old_handler);
    source->Shutdown();
    ExpectDecodes(file.Path());
    EXPECT_GT(ProbeNumber(file.Path(), "v", "nb_frames"), 10);
}

TEST_F(MediaSessionTest, RefusedSamplesAreLeftOut) {
    const Scene scene;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    {
        Recording recording(source.Get(), file.Path(), scene);
        ASSERT_EQ(recording.Start(), S_OK);
        source->Push(true, Bytes(100), 0);
        source->Push(false, Bytes(3), 0);
        for (int i = 0; i < 10; ++i) source->PushFrame(i);
        source->PushSound(0, 10000);
        source->End();
        ASSERT_TRUE(recording.WaitFor(MESessionEnded));
        EXPECT_EQ(recording.Events().back(), Recording::Event(MESessionEnded, S_OK));
        source->Shutdown();
    }
    ExpectDecodes(file.Path());
    EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), "10");
}

TEST_F(MediaSessionTest, CloseAtAnyTime) {
    ComPtr<IMFMediaSession> bare;
    ASSERT_EQ(MFCreateMediaSession(nullptr, bare.Put()), S_OK);
    EXPECT_EQ(bare->Close(), S_OK);
    ComPtr<IMFMediaEvent> event;
    ASSERT_EQ(bare->GetEvent(0, event.Put()), S_OK);
    MediaEventType type = MEUnknown;
    EXPECT_EQ(event->GetType(&type), S_OK);
    EXPECT_EQ(type, MESessionClosed);
    bare->Shutdown();

    Scene scene;
    scene.sound_rate = 0;
    const auto close = [](Recording& recording) {
        ASSERT_EQ(recording.session->Close(), S_OK);
        ASSERT_EQ(recording.session->Close(), S_OK);
        ASSERT_TRUE(recording.WaitFor(MESessionClosed));
    };
    {
        SCOPED_TRACE("before the start, after which the source has to be pulled all the same");
        const TemporaryFile file;
        const ComPtr<TestSource> source = Source(scene);
        Recording recording(source.Get(), file.Path(), scene);
        close(recording);
        EXPECT_EQ(recording.Events().back(),
                  Recording::Event(MESessionClosed, MF_E_SINK_NO_SAMPLES_PROCESSED));
        ASSERT_EQ(recording.Start(), S_OK);
        EXPECT_TRUE(source->requested.WaitFor(1));
        EXPECT_EQ(std::filesystem::file_size(file.Path()), 0u);
        source->Shutdown();
    }
    {
        SCOPED_TRACE("while it runs");
        const TemporaryFile file;
        const ComPtr<TestSource> source = Source(scene);
        Recording recording(source.Get(), file.Path(), scene);
        ASSERT_EQ(recording.Start(), S_OK);
        for (int i = 0; i < 10; ++i) source->PushFrame(i);
        ASSERT_TRUE(source->taken[1].WaitFor(10));
        close(recording);
        EXPECT_EQ(recording.Events().back(), Recording::Event(MESessionClosed, S_OK));
        ExpectDecodes(file.Path());
        source->Shutdown();
    }
}

TEST_F(MediaSessionTest, ShutdownDoesNotWaitForTheSource) {
    Scene scene;
    scene.sound_rate = 0;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    Counter done;
    std::thread stopper;
    {
        Recording recording(source.Get(), file.Path(), scene);
        ASSERT_EQ(recording.Start(), S_OK);
        for (int i = 0; i < 10; ++i) source->PushFrame(i);
        ASSERT_TRUE(source->requested.WaitFor(11));
        bool in_time = false;
        {
            // As a live source waits for its next frame: with items of the session behind its lock.
            const std::lock_guard waiting(source->lock);
            source->PushFrame(10);
            stopper = std::thread([&] {
                EXPECT_EQ(recording.session->Shutdown(), S_OK);
                done.Add();
            });
            in_time = done.WaitFor(1);
        }
        stopper.join();
        EXPECT_TRUE(in_time);
        EXPECT_EQ(recording.session->Shutdown(), S_OK);
        EXPECT_EQ(recording.Start(), MF_E_SHUTDOWN);
        EXPECT_EQ(recording.session->Close(), MF_E_SHUTDOWN);
    }
    ExpectDecodes(file.Path());
    source->Shutdown();
}

TEST_F(MediaSessionTest, ClockRunsFromStartToEnd) {
    Scene scene;
    scene.sound_rate = 0;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    Recording recording(source.Get(), file.Path(), scene);
    ComPtr<IMFClock> any;
    ASSERT_EQ(recording.session->GetClock(any.Put()), S_OK);
    const ComPtr<IMFPresentationClock> clock = any.As<IMFPresentationClock>();
    ASSERT_TRUE(clock);
    MFTIME time = -1;
    EXPECT_EQ(clock->GetTime(&time), S_OK);
    EXPECT_EQ(time, 0);
    ASSERT_EQ(recording.Start(), S_OK);
    ASSERT_TRUE(recording.WaitFor(MESessionStarted));
    MFCLOCK_STATE state = MFCLOCK_STATE_INVALID;
    EXPECT_EQ(clock->GetState(0, &state), S_OK);
    EXPECT_EQ(state, MFCLOCK_STATE_RUNNING);
    source->PushFrame(0);
    source->End();
    ASSERT_TRUE(recording.WaitFor(MESessionEnded));
    MFTIME again = 0;
    EXPECT_EQ(clock->GetTime(&time), S_OK);
    EXPECT_EQ(clock->GetTime(&again), S_OK);
    EXPECT_GT(time, 0);
    EXPECT_EQ(time, again) << "it stands at the end";
    EXPECT_EQ(clock->GetState(0, &state), S_OK);
    EXPECT_EQ(state, MFCLOCK_STATE_STOPPED);
    source->Shutdown();
}

std::ptrdiff_t EntriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

TEST_F(MediaSessionTest, NothingIsLeftOfManyRounds) {
    Scene scene;
    scene.sound_rate = 0;
    const TemporaryFile file;
    std::ptrdiff_t handles = 0;
    std::ptrdiff_t threads = 0;
    for (int round = 0; round < 200; ++round) {
        if (round == 20) {
            handles = EntriesOf("/proc/self/fd");
            threads = EntriesOf("/proc/self/task");
        }
        const ComPtr<TestSource> source = Source(scene);
        Recording recording(source.Get(), file.Path(), scene);
        if (round % 5 == 0) continue;  // dropped before it begins; nobody shuts the source down
        ASSERT_EQ(recording.Start(), S_OK);
        for (int i = 0; i < 3; ++i) source->PushFrame(i);
        if (round % 5 != 1) {
            source->End();
            ASSERT_TRUE(recording.WaitFor(MESessionEnded)) << round;
            ASSERT_EQ(recording.session->Close(), S_OK);
            ASSERT_TRUE(recording.WaitFor(MESessionClosed)) << round;
        }
        if (round % 2 == 0) recording.session->Shutdown();  // before the source or behind it
        source->Shutdown();
    }
    EXPECT_EQ(EntriesOf("/proc/self/fd"), handles);
    // Threads of the work queue stay for a while.
    EXPECT_LE(EntriesOf("/proc/self/task"), threads + 20);
}

TEST_F(MediaSessionTest, TopologiesThatCannotBeAreRefused) {
    const Scene good;
    const TempFolder folder;
    const std::wstring path = FromUtf8((folder / "a.mp4").string());
    const auto create =
        [&](const Scene& in, const Scene& out, const std::wstring& name,
            const std::function<void(TestSource&, IMFTranscodeProfile&)>& change = {}) {
            const ComPtr<TestSource> source = Source(in);
            const ComPtr<IMFTranscodeProfile> profile = Profile(out);
            if (change) change(*source.Get(), *profile.Get());
            ComPtr<IMFTopology> topology;
            const HRESULT hr = MFCreateTranscodeTopology(source.Get(), name.c_str(), profile.Get(),
                                                         topology.Put());
            EXPECT_EQ(SUCCEEDED(hr), static_cast<bool>(topology));
            source->Shutdown();
            return hr;
        };
    const auto with = [&](auto Scene::*member, auto value) {
        Scene scene = good;
        scene.*member = value;
        return scene;
    };
    const auto container_of = [](REFGUID type) {
        return [&type](TestSource&, IMFTranscodeProfile& profile) {
            ComPtr<IMFAttributes> container;
            profile.GetContainerAttributes(container.Put());
            container->SetGUID(MF_TRANSCODE_CONTAINERTYPE, type);
        };
    };
    folder.Write("a.mp4", "an older file");
    EXPECT_EQ(create(good, with(&Scene::width, 63u), path), MF_E_TRANSCODE_INVALID_PROFILE);
    EXPECT_EQ(create(good, with(&Scene::height, 0u), path), MF_E_TRANSCODE_INVALID_PROFILE);
    EXPECT_EQ(create(good, with(&Scene::bit_rate, 0u), path), MF_E_TRANSCODE_INVALID_PROFILE);
    EXPECT_EQ(create(good, with(&Scene::width, 20000u), path), E_INVALIDARG);
    EXPECT_EQ(create(good, with(&Scene::out_rate, 44000u), path), E_INVALIDARG);
    EXPECT_EQ(create(with(&Scene::height, 0u), good, path), MF_E_INVALIDMEDIATYPE);
    EXPECT_EQ(create(with(&Scene::fps_num, 0u), good, path), MF_E_INVALIDMEDIATYPE);
    EXPECT_EQ(create(with(&Scene::channels, 0u), good, path), MF_E_INVALIDMEDIATYPE);
    EXPECT_EQ(create(with(&Scene::bits, 12u), good, path), E_INVALIDARG);
    EXPECT_EQ(create(good, good, path, container_of(MFMediaType_Audio)),
              MF_E_TRANSCODE_INVALID_PROFILE);
    EXPECT_EQ(create(good, good, path,
                     [](TestSource&, IMFTranscodeProfile& profile) {
                         profile.SetContainerAttributes(nullptr);
                     }),
              MF_E_TRANSCODE_NO_CONTAINERTYPE);
    EXPECT_EQ(create(good, good, path,
                     [](TestSource&, IMFTranscodeProfile& profile) {
                         profile.SetVideoAttributes(nullptr);
                         profile.SetAudioAttributes(nullptr);
                     }),
              MF_E_TRANSCODE_PROFILE_NO_MATCHING_STREAMS);
    EXPECT_EQ(create(good, good, path,
                     [](TestSource& source, IMFTranscodeProfile&) {
                         source.Presentation()->DeselectStream(0);
                         source.Presentation()->DeselectStream(1);
                     }),
              MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED);
    EXPECT_EQ(ReadText(folder / "a.mp4"), "an older file");
    EXPECT_EQ(create(good, good, L"/nowhere/a.mp4"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(create(good, good, L""), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));

    // One that no session takes leaves no file that looks like a recording.
    EXPECT_EQ(create(good, good, path), S_OK);
    EXPECT_EQ(std::filesystem::file_size(folder / "a.mp4"), 0u);
}

TEST_F(MediaSessionTest, StreamsThatTheProfileLeavesOutAreNotRead) {
    const Scene scene;
    const TemporaryFile file;
    const ComPtr<TestSource> source = Source(scene);
    const ComPtr<IMFTranscodeProfile> profile = Profile(scene);
    profile->SetVideoAttributes(nullptr);
    {
        Recording recording(source.Get(), file.Path(), profile.Get());
        ASSERT_EQ(recording.Start(), S_OK);
        source->PushFrame(0);
        source->PushSound(0, 10000);
        source->End();
        ASSERT_TRUE(recording.WaitFor(MESessionEnded));
        source->Shutdown();
    }
    EXPECT_EQ(source->taken[1].Value(), 0);
    EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), "");
    EXPECT_NEAR(ProbeNumber(file.Path(), "a", "duration"), 10000 / 44100.0, 0.03);
}

}  // namespace
}  // namespace Vimbrel::test

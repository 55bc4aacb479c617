// Sessions that record from a source of the test's own, to their end or to Close.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "tests/platform/linux/mf/MediaSessionKit.h"

namespace Vimbrel::test {
namespace {

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

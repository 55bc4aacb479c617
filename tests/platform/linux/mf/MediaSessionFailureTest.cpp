// Sessions whose source, samples or topology fail.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/platform/linux/mf/MediaSessionKit.h"

namespace Vimbrel::test {
namespace {

using MediaSessionFailureTest = MediaSessionTest;

TEST_F(MediaSessionFailureTest, FailuresEndTheFileAndAreTold) {
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

TEST_F(MediaSessionFailureTest, RefusedSamplesAreLeftOut) {
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

TEST_F(MediaSessionFailureTest, TopologiesThatCannotBeAreRefused) {
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

}  // namespace
}  // namespace Vimbrel::test

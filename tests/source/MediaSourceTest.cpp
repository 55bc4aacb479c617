#include "vimbrel/MediaSource.h"

#include <gtest/gtest.h>

#include <string>

#include "Source/MediaSourceImpl.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "vimbrel/MediaSourceGame.h"
#include "vimbrel/MediaSourceText.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;
using Type = MediaSource::SourceType;

// Counts its life and speaks at its end.
class TalkingImpl final : public MediaSourceImpl {
public:
    TalkingImpl(std::function<void()> at_end) : at_end_(std::move(at_end)) {}
    ~TalkingImpl() override { at_end_(); }
    bool Open(MediaSource*) override { return true; }
    void Close() override {}
    bool Run() override { return true; }
    bool Pause() override { return true; }
    void Stop() override {}

private:
    std::function<void()> at_end_;
};

// The bare base, with its protected operations in reach.
class BareSource : public MediaSource {
public:
    using MediaSource::SetAudioSample;
    using MediaSource::SetState;
    using MediaSource::SetVideoSample;

    Type GetSourceType() override { return Type::Media; }
    void SetImpl(MediaSourceImpl* worker) { impl = worker; }
};

TEST(MediaSource, StartsWithTheToldDefaults) {
    BareSource source;
    EXPECT_EQ(source.GetState(), State::Closed);
    EXPECT_EQ(source.GetDispatcher(), nullptr);
    EXPECT_EQ(source.GetRate(), 100);
    EXPECT_TRUE(source.GetAudioRenderDevice().empty());
    const auto& info = source.GetMediaInfo();
    EXPECT_EQ(info.duration, -1.0);
    EXPECT_TRUE(info.hasVideo);
    EXPECT_FALSE(info.hasAudio);
    EXPECT_FALSE(info.seekable);
    EXPECT_EQ(&source.GetMediaInfo(), &info);
}

TEST(MediaSource, BaseOperationsFailWithNeutralValuesAndLeaveTheState) {
    BareSource source;
    RecordingDispatcher dispatcher;
    source.SetDispatcher(&dispatcher);
    EXPECT_FALSE(source.Open() || source.Play() || source.Pause() || source.Seek(1.0) || source.SetStopTime(1.0));
    EXPECT_FALSE(source.SetVolume(50) || source.SetPitch(50) || source.SetAudioStream(0) || source.SetSubtitleStream(0));
    EXPECT_EQ(source.GetVolume() + source.GetPitch() + source.GetAudioStream() + source.GetSubtitleStream(), 0);
    EXPECT_EQ(source.GetCurrentPosition() + source.GetDuration() + source.GetAudioMeter(0), 0.0);
    source.Stop();
    source.RequestSample();
    source.StopAudioMeter();
    source.SetAutoloadSubtitle(true);
    EXPECT_EQ(source.GetState(), State::Closed);
    EXPECT_TRUE(dispatcher.changes.empty());
}

TEST(MediaSource, AStateIsAnnouncedOnceAndAfterItWasStored) {
    BareSource source;
    RecordingDispatcher dispatcher;
    source.SetState(State::Opened);  // nobody listens yet
    source.SetDispatcher(&dispatcher);
    source.SetState(State::Opened);
    source.SetState(State::Playing);
    source.SetState(State::Playing);
    source.Close();
    source.Close();
    const std::vector<RecordingDispatcher::Change> expected = {{&source, State::Opened, State::Playing, State::Playing},
                                                               {&source, State::Playing, State::Closed, State::Closed}};
    EXPECT_EQ(dispatcher.changes, expected);
}

TEST(MediaSource, SamplesReachTheDispatcherUnchangedOrAreDropped) {
    BareSource source;
    unsigned char data[16] = {};
    source.SetVideoSample(data, 2, 2, 8, 5, 6);
    source.SetAudioSample(data, 16, 5, 6);

    RecordingDispatcher dispatcher;
    source.SetDispatcher(&dispatcher);
    source.SetVideoSample(data, 1, 2, 8, INT64_MAX, -3);
    source.SetAudioSample(data, 16, INT64_MIN, 7);
    EXPECT_EQ(dispatcher.video, (std::vector<RecordingDispatcher::Video>{{&source, data, 1, 2, 8, INT64_MAX, -3}}));
    EXPECT_EQ(dispatcher.audio, (std::vector<RecordingDispatcher::Audio>{{&source, data, 16, INT64_MIN, 7}}));
}

TEST(MediaSource, ARateIsNeverZeroOrLess) {
    BareSource source;
    for (const auto& [set, kept] : {std::pair{1, 1}, {250, 250}, {0, 100}, {-5, 100}}) {
        source.SetRate(set);
        EXPECT_EQ(source.GetRate(), kept) << set;
    }
}

TEST(MediaSource, TheDeviceNameSurvivesBeingSetToItself) {
    BareSource source;
    source.SetAudioRenderDevice(L"a name that is longer than any small string");
    source.SetAudioRenderDevice(source.GetAudioRenderDevice());
    EXPECT_EQ(source.GetAudioRenderDevice(), L"a name that is longer than any small string");
}

TEST(MediaSource, DestructionDeletesTheWorkerAndIsSilent) {
    RecordingDispatcher dispatcher;
    int ends = 0;
    {
        BareSource source;
        source.SetDispatcher(&dispatcher);
        source.SetState(State::Playing);
        dispatcher.changes.clear();
        source.SetImpl(new TalkingImpl([&] {
            ++ends;
            source.SetState(State::Stopped);
        }));
    }
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(dispatcher.changes.empty());
}

TEST(MediaSourceText, KeepsItsTextsAndAState) {
    MediaSourceText source;
    RecordingDispatcher dispatcher;
    source.SetDispatcher(&dispatcher);
    EXPECT_EQ(source.GetSourceType(), Type::Text);
    EXPECT_TRUE(source.Open()) << "a text source needs no text";
    EXPECT_TRUE(source.Play() && source.Play());
    source.RequestSample();
    EXPECT_TRUE(source.Pause());
    source.Stop();
    source.Close();
    EXPECT_EQ(dispatcher.States(), (std::vector{State::Opened, State::Playing, State::Paused, State::Stopped, State::Closed}));
    EXPECT_TRUE(dispatcher.video.empty());

    source.SetText(L"a text that is longer than any small string");
    source.SetText(source.GetText().c_str());
    EXPECT_EQ(source.GetText(), L"a text that is longer than any small string");
    source.SetFileName(L"file.txt");
    EXPECT_EQ(source.GetFileName(), L"file.txt");
    source.SetFileName(nullptr);
    source.SetText(nullptr);
    EXPECT_TRUE(source.GetFileName().empty() && source.GetText().empty());
}

TEST(MediaSourceGame, NeverLeavesClosed) {
    MediaSourceGame source;
    RecordingDispatcher dispatcher;
    source.SetDispatcher(&dispatcher);
    EXPECT_EQ(source.GetSourceType(), Type::Game);
    EXPECT_FALSE(source.Open() || source.Play() || source.Pause());
    source.Stop();
    source.Close();
    EXPECT_EQ(source.GetState(), State::Closed);
    EXPECT_TRUE(dispatcher.changes.empty());
}

}  // namespace
}  // namespace Vimbrel::test

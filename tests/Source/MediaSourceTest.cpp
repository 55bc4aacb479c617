#include "vimbrel/MediaSource.h"

#include <gtest/gtest.h>

#include <functional>

#include "Source/MediaSourceImpl.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "vimbrel/MediaSourceGame.h"
#include "vimbrel/MediaSourceText.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;

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

    SourceType GetSourceType() override { return SourceType::Media; }
    void SetImpl(MediaSourceImpl* worker) { impl = worker; }
};

TEST(MediaSource, WhatAKindOfSourceLacksFailsAndSaysNothing) {
    BareSource bare;
    MediaSourceGame game;
    RecordingDispatcher dispatcher;
    unsigned char data[16] = {};
    bare.SetVideoSample(data, 2, 2, 8, 5, 6);  // nobody listens yet
    bare.SetAudioSample(data, 16, 5, 6);
    for (MediaSource* source :
         {static_cast<MediaSource*>(&bare), static_cast<MediaSource*>(&game)}) {
        source->SetDispatcher(&dispatcher);
        EXPECT_FALSE(source->Open() || source->Play() || source->Pause() || source->Seek(1.0) ||
                     source->SetStopTime(1.0));
        EXPECT_FALSE(source->SetVolume(50) || source->SetPitch(50) || source->SetAudioStream(0) ||
                     source->SetSubtitleStream(0));
        EXPECT_EQ(source->GetVolume() + source->GetPitch() + source->GetAudioStream() +
                      source->GetSubtitleStream(),
                  0);
        EXPECT_EQ(source->GetCurrentPosition() + source->GetDuration() + source->GetAudioMeter(0),
                  0.0);
        source->Stop();
        source->RequestSample();
        source->StopAudioMeter();
        source->SetAutoloadSubtitle(true);
        source->Close();
        EXPECT_EQ(source->GetState(), State::Closed);
    }
    EXPECT_TRUE(dispatcher.changes.empty() && dispatcher.video.empty());
}

TEST(MediaSource, ANewSourceKnowsNothingOfItsMedia) {
    BareSource source;
    const MediaSource::MEDIA_INFO& info = source.GetMediaInfo();
    EXPECT_TRUE(!info.seekable && info.hasVideo && !info.hasAudio);
    EXPECT_EQ(info.duration, -1.0);
    EXPECT_EQ(info.width + info.height + info.videoBitrate + info.audioBitrate, 0);
    EXPECT_EQ(info.frameRate, 0.0);
    EXPECT_TRUE(info.audioStreams.empty() && info.subtitleStreams.empty());
    EXPECT_EQ(info.audioStreamTag + info.subtitleStreamTag, 0);
    const StreamInfo stream;
    EXPECT_TRUE(stream.name.empty() && stream.index == 0 && stream.language == 0);
}

TEST(MediaSource, TheNameOfTheSoundOutputIsCopied) {
    BareSource source;
    EXPECT_EQ(source.GetAudioRenderDevice(), L"");
    std::wstring name = L"Speakers";
    source.SetAudioRenderDevice(name);
    name = L"changed";
    source.SetAudioRenderDevice(source.GetAudioRenderDevice());
    EXPECT_EQ(source.GetAudioRenderDevice(), L"Speakers");
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
    const std::vector<RecordingDispatcher::Change> expected = {
        {&source, State::Opened, State::Playing, State::Playing},
        {&source, State::Playing, State::Closed, State::Closed}};
    EXPECT_EQ(dispatcher.changes, expected);
}

TEST(MediaSource, ARateIsNeverZeroOrLess) {
    BareSource source;
    for (const auto& [set, kept] : {std::pair{1, 1}, {250, 250}, {0, 100}, {-5, 100}}) {
        source.SetRate(set);
        EXPECT_EQ(source.GetRate(), kept) << set;
    }
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

TEST(MediaSourceText, TellsItsStatesAndKeepsTextsSetToThemselves) {
    MediaSourceText source;
    RecordingDispatcher dispatcher;
    source.SetDispatcher(&dispatcher);
    EXPECT_TRUE(source.Open()) << "a text source needs no text";
    EXPECT_TRUE(source.Play() && source.Play() && source.Pause());
    source.Stop();
    source.Close();
    EXPECT_EQ(dispatcher.States(), (std::vector{State::Opened, State::Playing, State::Paused,
                                                State::Stopped, State::Closed}));

    source.SetText(L"a text that is longer than any small string");
    source.SetText(source.GetText().c_str());
    EXPECT_EQ(source.GetText(), L"a text that is longer than any small string");
    source.SetFileName(nullptr);
    source.SetText(nullptr);
    EXPECT_TRUE(source.GetFileName().empty() && source.GetText().empty());
}

}  // namespace
}  // namespace Vimbrel::test

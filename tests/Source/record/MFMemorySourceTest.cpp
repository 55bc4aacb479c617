#include "Source/record/MFMemorySource.h"

#include <gmock/gmock.h>

#include <cstring>
#include <random>
#include <thread>

#include "tests/Source/record/MemorySourceKit.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;

TEST_F(MFMemorySourceTest, TellsWhatItIsAndChecksWhatItIsAsked) {
    source.Attach(new MFMemorySource);
    ComPtr<IMFPresentationDescriptor> descriptor;
    EXPECT_EQ(source->CreatePresentationDescriptor(descriptor.Put()), MF_E_NOT_INITIALIZED);
    End();

    Make(true, true);
    DWORD characteristics = 0;
    EXPECT_EQ(source->GetCharacteristics(&characteristics), S_OK);
    EXPECT_EQ(characteristics, 1u);
    EXPECT_EQ(source->GetCharacteristics(nullptr), E_POINTER);
    ASSERT_EQ(source->CreatePresentationDescriptor(descriptor.Put()), S_OK);
    DWORD count = 0;
    descriptor->GetStreamDescriptorCount(&count);
    ASSERT_EQ(count, 2u);
    for (DWORD i = 0; i < count; ++i) {
        BOOL selected = FALSE;
        ComPtr<IMFStreamDescriptor> stream;
        DWORD id = 99;
        ComPtr<IMFMediaTypeHandler> handler;
        GUID major{};
        ASSERT_GE(descriptor->GetStreamDescriptorByIndex(i, &selected, stream.Put()), 0);
        EXPECT_TRUE(selected);
        stream->GetStreamIdentifier(&id);
        EXPECT_EQ(id, i);
        ASSERT_GE(stream->GetMediaTypeHandler(handler.Put()), 0);
        handler->GetMajorType(&major);
        EXPECT_EQ(major == MFMediaType_Video, i == 0);
    }

    const PROPVARIANT zero = Position(VT_I8);
    const PROPVARIANT later = Position(VT_I8, 1);
    const PROPVARIANT other = Position(VT_R8);
    EXPECT_EQ(source->Start(nullptr, &GUID_NULL, &zero), E_INVALIDARG);
    EXPECT_EQ(source->Start(descriptor.Get(), &GUID_NULL, nullptr), E_INVALIDARG);
    EXPECT_EQ(source->Start(descriptor.Get(), &MFMediaType_Video, &zero),
              MF_E_UNSUPPORTED_TIME_FORMAT);
    EXPECT_EQ(source->Start(descriptor.Get(), &GUID_NULL, &later), MF_E_INVALIDREQUEST);
    EXPECT_EQ(source->Start(descriptor.Get(), &GUID_NULL, &other), MF_E_UNSUPPORTED_TIME_FORMAT);

    EXPECT_EQ(source->Pause(), S_OK);
    const HeardEvent paused = events->Next();
    EXPECT_EQ(paused.type, MESourcePaused);
    EXPECT_EQ(paused.status, MF_E_INVALID_STATE_TRANSITION);
    const HeardEvent error = events->Next();
    EXPECT_EQ(error.type, MEError);
    EXPECT_EQ(error.status, MF_E_INVALID_STATE_TRANSITION);

    PushEnd();
    source->Shutdown();
    ComPtr<IMFMediaEvent> event;
    EXPECT_EQ(source->GetEvent(0, event.Put()), MF_E_SHUTDOWN);
    EXPECT_EQ(source->BeginGetEvent(events.Get(), nullptr), MF_E_SHUTDOWN);
    EXPECT_EQ(source->QueueEvent(MEError, GUID_NULL, S_OK, nullptr), MF_E_SHUTDOWN);
    EXPECT_EQ(source->GetCharacteristics(&characteristics), MF_E_SHUTDOWN);
    EXPECT_EQ(source->CreatePresentationDescriptor(descriptor.Put()), MF_E_SHUTDOWN);
    EXPECT_EQ(source->Start(descriptor.Get(), &GUID_NULL, &zero), MF_E_SHUTDOWN);
    EXPECT_EQ(source->Stop(), MF_E_SHUTDOWN);
    EXPECT_EQ(source->Pause(), MF_E_SHUTDOWN);
    source.Reset();
}

// Otherwise each block would be waited for before the pipeline gets another picture.
TEST_F(MFMemorySourceTest, ServesAFullStreamWhileAnotherIsWaitedFor) {
    constexpr unsigned char pictures = 10;
    Make(true, true);
    for (const unsigned char value : {100, 101}) Push(false, value);
    for (unsigned char i = 0; i < pictures; ++i) Push(true, i);
    const auto streams = StartStreams(2);
    ASSERT_EQ(streams.size(), 2u);
    ASSERT_EQ(streams[1].stream->RequestSample(nullptr), S_OK);
    WaitFor(delivered, pictures);
    // Nothing waits in the queue now, and there is one block of sound instead of two.
    for (int i = 0; i < 2; ++i) ASSERT_EQ(streams[0].stream->RequestSample(nullptr), S_OK);
    // A system whose work queue has one thread tells of samples when the wait is over.
    Push(false, 102);
    for (const unsigned char value : {0, 1})
        EXPECT_EQ(Read(streams[0].events->Next().object.Get()).bytes.front(), value);
    EXPECT_EQ(Read(streams[1].events->Next().object.Get()).bytes.front(), 100);
}

TEST_F(MFMemorySourceTest, DeliversBothStreamsInOrderUntilTheEnd) {
    constexpr int count = 200;
    Make(true, true);
    for (const bool video : {true, true, false, false}) Push(video, 0, 0);
    auto streams = StartStreams(2);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(WaitForSingleObject(started, long_time), WAIT_OBJECT_0);
    ComPtr<IMFMediaSource> same;
    EXPECT_EQ(streams[0].stream->GetMediaSource(same.Put()), S_OK);
    EXPECT_EQ(same.Get(), static_cast<IMFMediaSource*>(source.Get()));
    same.Reset();

    std::thread video_pusher([this] {
        for (int i = 0; i < count; ++i)
            Push(true, static_cast<unsigned char>(i), i * 400, 1 + i % 7 * 1000u);
    });
    std::thread audio_pusher([this] {
        for (int i = 0; i < count; ++i) Push(false, static_cast<unsigned char>(i + 1), i * 100, 40);
    });
    const auto token = MakeCom<Token>();
    const auto pull = [&](Pulled& pulled, bool video) {
        for (int i = -2; i < count + video; ++i) {
            EXPECT_EQ(pulled.stream->RequestSample(i % 2 == 0 ? token.Get() : nullptr), S_OK);
            const HeardEvent event = pulled.events->Next();
            ASSERT_EQ(event.type, MEMediaSample);
            const PulledSample sample = Read(event.object.Get());
            if (i < 0 || i == count) continue;
            const std::int64_t time = i * (video ? 400 : 100);
            ASSERT_EQ(sample, (PulledSample{Bytes(video ? 1 + i % 7 * 1000u : 40u,
                                                  static_cast<unsigned char>(video ? i : i + 1)),
                                            time, time + 1}));
        }
        EXPECT_EQ(pulled.events->Next().type, MEEndOfStream);
        EXPECT_EQ(pulled.stream->RequestSample(nullptr), MF_E_END_OF_STREAM);
    };
    std::thread video_puller(pull, std::ref(streams[0]), true);
    std::thread audio_puller(pull, std::ref(streams[1]), false);
    video_pusher.join();
    audio_pusher.join();
    // The end would drop what waits, so it comes when a last frame has been fetched.
    Push(true, 0);
    WaitFor(delivered, count + 3);
    PushEnd();
    video_puller.join();
    audio_puller.join();
    token->AddRef();
    EXPECT_EQ(token->Release(), 1u);
    EXPECT_EQ(delivered, count + 3u);
    EXPECT_EQ(dropped, 0u);
    EXPECT_THAT(events->NextTypes(3),
                testing::UnorderedElementsAre(MEEndOfPresentation, MEError, MEError));
}

TEST_F(MFMemorySourceTest, HoldsTwoSamplesAheadAndTheEndDropsWhatWaits) {
    Make(true, false);
    for (unsigned char i = 0; i < 7; ++i) Push(true, i, i);
    auto streams = StartStreams(1);
    ASSERT_EQ(streams.size(), 1u);
    WaitFor(delivered, 2);
    PushEnd();
    PushEnd();
    Push(true, 9);
    EXPECT_EQ(taken, 7u) << "what comes after the end is refused";
    EXPECT_EQ(dropped, 5u);
    for (unsigned char i = 0; i < 2; ++i) {
        EXPECT_EQ(streams[0].stream->RequestSample(nullptr), S_OK);
        EXPECT_EQ(Read(streams[0].events->Next().object.Get()).bytes.at(0), i);
    }
    EXPECT_EQ(streams[0].events->Next().type, MEEndOfStream);
    EXPECT_EQ(events->Next().type, MEEndOfPresentation);
    EXPECT_EQ(streams[0].stream->RequestSample(nullptr), MF_E_END_OF_STREAM);
    const HeardEvent error = events->Next();
    EXPECT_EQ(error.type, MEError);
    EXPECT_EQ(error.status, MF_E_END_OF_STREAM);
    EXPECT_EQ(delivered, 2u);

    // A stream may outlive its source.
    streams[0].events.Reset();
    End();
    ComPtr<IMFMediaSource> none;
    ComPtr<IMFMediaEvent> event;
    EXPECT_EQ(streams[0].stream->RequestSample(nullptr), MF_E_SHUTDOWN);
    EXPECT_EQ(streams[0].stream->GetMediaSource(none.Put()), MF_E_SHUTDOWN);
    EXPECT_EQ(streams[0].stream->GetEvent(0, event.Put()), MF_E_SHUTDOWN);
}

TEST_F(MFMemorySourceTest, StopsPausesAndStartsAgain) {
    Make(true, false);
    Push(true, 1);
    Push(true, 2);
    auto streams = StartStreams(1);
    ASSERT_EQ(streams.size(), 1u);
    Pulled& pulled = streams[0];
    EXPECT_EQ(Start(), MF_E_INVALIDREQUEST);
    EXPECT_EQ(source->Pause(), S_OK);
    EXPECT_EQ(pulled.events->Next().type, MEStreamPaused);
    EXPECT_EQ(events->Next().type, MESourcePaused);
    EXPECT_EQ(pulled.stream->RequestSample(nullptr), S_OK);
    EXPECT_EQ(Start(), MF_E_INVALIDREQUEST);
    Push(true, 3);
    EXPECT_EQ(Start(Position(VT_EMPTY)), S_OK);
    EXPECT_THAT(events->NextTypes(2), ElementsAre(MEUpdatedStream, MESourceStarted));
    EXPECT_THAT(pulled.events->NextTypes(2), ElementsAre(MEStreamStarted, MEMediaSample));
    EXPECT_EQ(source->Stop(), S_OK);
    EXPECT_EQ(pulled.events->Next().type, MEStreamStopped);
    EXPECT_EQ(events->Next().type, MESourceStopped);
    EXPECT_EQ(pulled.stream->RequestSample(nullptr), MF_E_INVALIDREQUEST);
    EXPECT_EQ(events->Next().status, MF_E_INVALIDREQUEST);
    EXPECT_EQ(Start(), S_OK);
    Push(true, 4);
    Push(true, 5);
    EXPECT_THAT(events->NextTypes(2), ElementsAre(MEUpdatedStream, MESourceStarted));
}

TEST_F(MFMemorySourceTest, OnlySelectedStreamsAreStarted) {
    Make(true, true);
    ComPtr<IMFPresentationDescriptor> descriptor;
    ASSERT_EQ(source->CreatePresentationDescriptor(descriptor.Put()), S_OK);
    descriptor->DeselectStream(0);
    Push(false, 1);
    Push(false, 2);
    const PROPVARIANT position = Position(VT_I8);
    EXPECT_EQ(source->Start(descriptor.Get(), nullptr, &position), S_OK);
    const HeardEvent event = events->Next();
    ASSERT_EQ(event.type, MENewStream);
    EXPECT_EQ(events->Next().type, MESourceStarted);
    const Pulled audio(event.object.Get());
    WaitFor(sound_delivered, 2);
    PushEnd();
    EXPECT_EQ(audio.stream->RequestSample(nullptr), S_OK);
    EXPECT_EQ(audio.stream->RequestSample(nullptr), S_OK);
    EXPECT_THAT(audio.events->NextTypes(4),
                ElementsAre(MEStreamStarted, MEMediaSample, MEMediaSample, MEEndOfStream));
    EXPECT_EQ(events->Next().type, MEEndOfPresentation);
}

TEST_F(MFMemorySourceTest, ABlockForNoStreamIsAnErrorAndTheLastThingFetched) {
    Make(true, false);
    Push(false, 1);
    Push(true, 2);
    EXPECT_EQ(Start(), S_OK);
    EXPECT_THAT(events->NextTypes(2), ElementsAre(MENewStream, MESourceStarted));
    const HeardEvent error = events->Next();
    EXPECT_EQ(error.type, MEError);
    EXPECT_EQ(error.status, E_FAIL);
    EXPECT_EQ(events->Next(std::chrono::milliseconds(20)).type, MEUnknown);
    EXPECT_EQ(dropped, 1u);
    Push(true, 3);
    EXPECT_EQ(taken, 2u);
    EXPECT_EQ(dropped, 2u) << "nothing is collected for nobody";
}

TEST_F(MFMemorySourceTest, EndsAtAnyMoment) {
    std::mt19937 random(4711);
    const auto chance = [&](int of) {
        return std::uniform_int_distribution<int>(0, of - 1)(random);
    };
    for (int round = 0; round < 150; ++round) {
        Make(true, chance(2) == 0);
        const int before = chance(6);
        for (int i = 0; i < before; ++i) Push(chance(2) == 0, 1);
        ASSERT_EQ(Start(), S_OK);
        std::thread pusher([this, count = chance(6)] {
            for (int i = 0; i < count; ++i) Push(true, 1);
        });
        // Now and then the source already waits for a block.
        if (chance(2) == 0) {
            EXPECT_EQ(WaitForSingleObject(started, long_time), WAIT_OBJECT_0);
        }
        pusher.join();
        ResetEvent(started);
        End();
        if (HasFailure()) FAIL() << "round " << round;
    }
}

}  // namespace
}  // namespace Vimbrel::test

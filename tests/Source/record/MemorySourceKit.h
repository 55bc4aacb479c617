// A small client of the memory source that pulls as the pipeline does. Runs on both systems, each
// with its own work queue, event queues and descriptors.
#pragma once

#include <gtest/gtest.h>
#include <mfapi.h>
#include <mferror.h>

#include <atomic>
#include <vector>

#include "Source/record/MFMemorySource.h"
#include "base/MediaStartup.h"
#include "tests/support/EventListener.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {

using Bytes = std::vector<unsigned char>;

constexpr DWORD long_time = 20'000;

inline PROPVARIANT Position(VARTYPE type, std::int64_t value = 0) {
    PROPVARIANT position;
    PropVariantInit(&position);
    position.vt = type;
    position.hVal.QuadPart = value;
    return position;
}

inline ComPtr<IMFMediaType> Type(REFGUID major, REFGUID minor) {
    ComPtr<IMFMediaType> type;
    EXPECT_GE(MFCreateMediaType(type.Put()), 0);
    EXPECT_GE(type->SetGUID(MF_MT_MAJOR_TYPE, major), 0);
    EXPECT_GE(type->SetGUID(MF_MT_SUBTYPE, minor), 0);
    return type;
}

class Token final : public ComObject<Implements<IUnknown>> {};

struct PulledSample {
    Bytes bytes;
    std::int64_t time = -1;
    std::int64_t duration = -1;
    bool operator==(const PulledSample&) const = default;
};

inline PulledSample Read(IUnknown* object) {
    PulledSample pulled;
    const auto sample = ComPtr<IUnknown>(object).As<IMFSample>();
    if (!sample) return pulled;
    LONGLONG time = 0;
    LONGLONG duration = 0;
    EXPECT_GE(sample->GetSampleTime(&time), 0);
    EXPECT_GE(sample->GetSampleDuration(&duration), 0);
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_GE(sample->GetBufferByIndex(0, buffer.Put()), 0);
    BYTE* data = nullptr;
    DWORD length = 0;
    EXPECT_GE(buffer->Lock(&data, nullptr, &length), 0);
    pulled = {Bytes(data, data + length), time, duration};
    buffer->Unlock();
    return pulled;
}

// A stream and its events.
struct Pulled {
    explicit Pulled(IUnknown* object)
        : stream(ComPtr<IUnknown>(object).As<IMFMediaStream>()),
          events(MakeCom<EventListener>(stream.Get())) {
        EXPECT_GE(events->Listen(), 0);
    }

    ComPtr<IMFMediaStream> stream;
    ComPtr<EventListener> events;
};

// Many tests push before they start: while the source waits for data, nothing but SetSample gets
// through to it.
class MFMemorySourceTest : public testing::Test {
protected:
    MFMemorySourceTest() { EXPECT_GE(platform.Start(), 0); }
    ~MFMemorySourceTest() override {
        if (source) End();
        CloseHandle(started);
    }

    void Make(bool video, bool audio) {
        source.Attach(new MFMemorySource);
        source->SetTypes(video ? Type(MFMediaType_Video, MFVideoFormat_RGB32).Get() : nullptr,
                         audio ? Type(MFMediaType_Audio, MFAudioFormat_PCM).Get() : nullptr);
        ASSERT_GE(source->BuildStreams(), 0);
        source->SetStartedEvent(started);
        source->SetCounters(true, {&taken, &delivered, &dropped, &failed});
        source->SetCounters(false, {nullptr, &sound_delivered, nullptr, nullptr});
        events = MakeCom<EventListener>(source.Get());
        ASSERT_GE(events->Listen(), 0);
    }

    void Push(bool video, unsigned char value, std::int64_t time = 0, std::size_t size = 16) {
        const Bytes bytes(size, value);
        source->SetSample(video, bytes.data(), static_cast<unsigned>(size), 0, 0, time, time + 1);
    }
    void PushEnd() { source->SetSample(true, nullptr, 0, 0, 0, 0, 0); }

    HRESULT Start(const PROPVARIANT& position = Position(VT_I8)) {
        ComPtr<IMFPresentationDescriptor> descriptor;
        const HRESULT hr = source->CreatePresentationDescriptor(descriptor.Put());
        return FAILED(hr) ? hr : source->Start(descriptor.Get(), &GUID_NULL, &position);
    }

    static void WaitFor(const std::atomic<std::uint64_t>& count, std::uint64_t value) {
        WaitUntil([&] { return count >= value; });
        EXPECT_EQ(count, value);
    }

    // Starts and gives the streams that are new.
    std::vector<Pulled> StartStreams(std::size_t count) {
        EXPECT_GE(Start(), 0);
        std::vector<Pulled> streams;
        for (std::size_t i = 0; i < count; ++i) {
            const HeardEvent event = events->Next();
            EXPECT_EQ(event.type, MENewStream);
            if (!event.object) return streams;
            streams.emplace_back(event.object.Get());
            EXPECT_EQ(streams.back().events->Next().type, MEStreamStarted);
        }
        EXPECT_EQ(events->Next().type, MESourceStarted);
        return streams;
    }

    // Ends and shuts down, and expects that nobody holds the source then.
    void End() {
        PushEnd();
        EXPECT_EQ(source->Shutdown(), S_OK);
        EXPECT_EQ(source->Shutdown(), MF_E_SHUTDOWN);
        events.Reset();
        // A work item may still be on its way out.
        EXPECT_TRUE(WaitUntil([&] {
            source->AddRef();
            return source->Release() == 1;
        }));
        source.Reset();
    }

    const Watchdog watchdog{"MFMemorySourceTest"};
    MediaPlatform platform;
    const HANDLE started = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<std::uint64_t> taken{0};  // of picture, as the next two
    std::atomic<std::uint64_t> delivered{0};
    std::atomic<std::uint64_t> sound_delivered{0};
    std::atomic<std::uint64_t> dropped{0};
    std::atomic<bool> failed{false};
    ComPtr<MFMemorySource> source;
    ComPtr<EventListener> events;
};

}  // namespace Vimbrel::test

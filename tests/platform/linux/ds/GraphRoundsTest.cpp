// Graphs that stream, under random control, and many graphs one after the other.
#include <gtest/gtest.h>

#include <random>
#include <shared_mutex>

#include "tests/support/GraphKit.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Rounds.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel::test {
namespace {

constexpr REFERENCE_TIME sample_time = 10'000;
constexpr REFERENCE_TIME length = 200 * sample_time;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class StreamingSource;

class SourceSeeking final : public TestSeeking {
public:
    SourceSeeking(IUnknown& pin, StreamingSource& filter)
        : TestSeeking(pin, length), source(filter) {}
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD, LONGLONG*, DWORD) override;

private:
    StreamingSource& source;
};

class StreamingOutput final : public CBaseOutputPin {
public:
    StreamingOutput(CBaseFilter& filter, StreamingSource& source)
        : CBaseOutputPin(filter, L"Out"), seeking(*this, source) {}
    HRESULT CheckMediaType(const CMediaType* checked) override {
        return checked->subtype == type.subtype ? S_OK : E_INVALIDARG;
    }
    std::vector<CMediaType> OfferedTypes() override { return {type}; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override {
        properties->cBuffers = 2;
        properties->cbBuffer = static_cast<LONG>(type.lSampleSize);
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(properties, &actual);
    }
    void Stream(REFERENCE_TIME from) {
        DeliverNewSegment(from, length, 1.0);
        HRESULT hr = S_OK;
        for (REFERENCE_TIME time = 0; from + time < length && hr == S_OK; time += sample_time) {
            ComPtr<IMediaSample> sample;
            hr = GetDeliveryBuffer(sample.Put());
            if (FAILED(hr)) return;
            REFERENCE_TIME end = time + sample_time;
            sample->SetTime(&time, &end);
            hr = Deliver(sample.Get());
        }
        if (hr == S_OK) DeliverEndOfStream();
    }

    CMediaType type = VideoType(MEDIASUBTYPE_NV12, 8, 8, 96);

protected:
    void* FindInterface(REFIID iid) override {
        return iid == __uuidof(IMediaSeeking) ? static_cast<IMediaSeeking*>(&seeking)
                                              : CBaseOutputPin::FindInterface(iid);
    }

private:
    SourceSeeking seeking;
};

// A thread per connected pin, as a splitter has it.
class StreamingSource final : public CBaseFilter {
public:
    StreamingSource() : CBaseFilter(GUID_NULL) { ++TestSource::alive; }
    ~StreamingSource() override { --TestSource::alive; }
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override { return &pins[index]; }

    HRESULT STDMETHODCALLTYPE Stop() override {
        const HRESULT hr = CBaseFilter::Stop();
        Join();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Pause() override {
        const bool stopped = State() == State_Stopped;
        const HRESULT hr = CBaseFilter::Pause();
        if (stopped && SUCCEEDED(hr)) Start();
        return hr;
    }
    void Seek(REFERENCE_TIME to) {
        for (StreamingOutput& pin : pins) pin.DeliverBeginFlush();
        Join();
        for (StreamingOutput& pin : pins) pin.DeliverEndFlush();
        position = to;
        if (State() != State_Stopped) Start();
    }

    StreamingOutput pins[2] = {{*this, *this}, {*this, *this}};

private:
    void Start() {
        for (StreamingOutput& pin : pins) {
            if (pin.IsConnected())
                threads.emplace_back([&pin, from = position] { pin.Stream(from); });
        }
    }
    void Join() {
        for (std::thread& thread : threads) thread.join();
        threads.clear();
    }

    REFERENCE_TIME position = 0;
    std::vector<std::thread> threads;
};
#pragma GCC diagnostic pop

HRESULT STDMETHODCALLTYPE SourceSeeking::SetPositions(LONGLONG* current, DWORD, LONGLONG*, DWORD) {
    source.Seek(*current);
    return S_OK;
}

struct Counter final : IDSRenderVideo::CDispatcher {
    void OnVideoSample(unsigned char*, int, int, int, std::int64_t, std::int64_t) override {
        ++pictures;
        // A streaming thread may ask where the graph is.
        LONGLONG now = 0;
        if (seeking) seeking->GetCurrentPosition(&now);
        if (seeking) seeking->GetDuration(&now);
    }
    std::atomic<int> pictures{0};
    IMediaSeeking* seeking = nullptr;
};

// A source with two sinks.
class Played {
public:
    Played() {
        for (int i = 0; i < 2; ++i) {
            CreateDSRenderVideo(&sinks[i]);
            sinks[i]->SetDispatcher(&counter);
            void* found = nullptr;
            sinks[i]->QueryInterface(__uuidof(IBaseFilter), &found);
            filters[i].Attach(static_cast<IBaseFilter*>(found));
            ComPtr<IEnumPins> pins;
            filters[i]->EnumPins(pins.Put());
            pins->Next(1, inputs[i].Put(), nullptr);
            graph.graph->AddFilter(filters[i].Get(), nullptr);
        }
        graph.graph->AddFilter(source.Get(), nullptr);
        seeking = graph.As<IMediaSeeking>();
        counter.seeking = seeking.Get();
        for (int i = 0; i < 2; ++i) graph.graph->Connect(&source->pins[i], inputs[i].Get());
    }
    ~Played() {
        graph.control->Stop();
        seeking.Reset();
        for (int i = 0; i < 2; ++i) {
            graph.graph->RemoveFilter(filters[i].Get());
            inputs[i].Reset();
            filters[i].Reset();
            EXPECT_EQ(sinks[i]->Release(), 0u) << "all references are back";
        }
    }
    Played(const Played&) = delete;
    Played& operator=(const Played&) = delete;

    void Operate(std::mt19937& random) {
        const int i = static_cast<int>(random() % 2);
        const unsigned operation = random() % 11;
        if (operation < 9) {
            const std::shared_lock beside_each_other(connections);
            Control(operation, i, static_cast<LONGLONG>(random() % (length + length / 10)));
        } else {
            const std::lock_guard alone(connections);
            const bool running = random() % 2 == 0;
            if (!running) graph.control->Stop();
            if (operation == 9)
                Reconnect(source->pins[i]);
            else
                Replace(i);
            // The source has no thread for a pin that was connected meanwhile, and each start of
            // the graph would wait five seconds for its first sample.
            if (running) graph.control->Stop();
        }
        while (graph.Event(0) != 0) {
        }
    }

    void Control(unsigned operation, int i, LONGLONG place) {
        switch (operation) {
            case 0:
            case 1:
            case 2:
                graph.control->Run();
                break;
            case 3:
            case 4:
                graph.control->Pause();
                break;
            case 5:
                graph.control->Stop();
                break;
            case 6:
            case 7:
                seeking->SetPositions(&place, AM_SEEKING_AbsolutePositioning, nullptr, 0);
                break;
            default:
                seeking->SetRate(0.5 + static_cast<double>(i));
                break;
        }
    }

    // An input that keeps a connection whose other end is gone would wait for samples in vain, so
    // the pin goes only after its input.
    void Reconnect(StreamingOutput& pin) {
        const ComPtr<IPin> input = pin.Peer();
        if (!input || SUCCEEDED(graph.graph->Disconnect(input.Get())))
            graph.graph->Disconnect(&pin);
        graph.graph->RenderEx(&pin, 1, nullptr);
    }

    void Replace(int i) {
        graph.graph->RemoveFilter(filters[i].Get());
        graph.graph->AddFilter(filters[i].Get(), nullptr);
        graph.graph->Connect(&source->pins[i], inputs[i].Get());
    }

    TestGraph graph;
    Counter counter;
    std::shared_mutex connections;
    ComPtr<StreamingSource> source = MakeCom<StreamingSource>();
    IDSRenderVideo* sinks[2] = {};
    ComPtr<IBaseFilter> filters[2];
    ComPtr<IPin> inputs[2];
    ComPtr<IMediaSeeking> seeking;
};

TEST(GraphRounds, RandomControlNeitherHangsNorLeaks) {
    int pictures = 0;
    // --gtest_shuffle --gtest_random_seed=N tries another one.
    const int chosen = ::testing::UnitTest::GetInstance()->random_seed();
    const auto seeds = static_cast<unsigned>(Rounds(4));
    for (unsigned turn = 1; turn <= seeds; ++turn) {
        const unsigned seed = turn < seeds ? turn : seeds + static_cast<unsigned>(chosen);
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::printf("seed %u\n", seed);
        const Watchdog watchdog("random control");
        Played played;
        // Two threads control the same graph.
        std::thread other([&played, seed] {
            std::mt19937 random(seed + 1000);
            for (int i = 0; i < 150; ++i) played.Operate(random);
        });
        std::mt19937 random(seed);
        for (int i = 0; i < 150; ++i) played.Operate(random);
        other.join();
        pictures += played.counter.pictures;
    }
    std::printf("%u operations, %d pictures\n", seeds * 300, pictures);
    EXPECT_GT(pictures, 0);
    EXPECT_EQ(TestSource::alive, 0);
}

TEST(GraphRounds, PlaysToTheEndAfterASeekWhileRunning) {
    const Watchdog watchdog("seek");
    Played played;
    EXPECT_EQ(played.graph.control->Run(), S_OK);
    LONGLONG place = length / 2;
    EXPECT_EQ(played.seeking->SetPositions(&place, AM_SEEKING_AbsolutePositioning, nullptr, 0),
              S_OK);
    LONGLONG now = 0;
    played.seeking->GetCurrentPosition(&now);
    EXPECT_GE(now, place);
    EXPECT_EQ(played.graph.Event(20'000), EC_COMPLETE);
    EXPECT_EQ(played.graph.Event(0), 0) << "one end for both";
    EXPECT_GE(played.counter.pictures, 200);
    played.seeking->GetCurrentPosition(&now);
    EXPECT_EQ(now, length);
    place = -5;
    EXPECT_EQ(played.seeking->SetPositions(&place, AM_SEEKING_AbsolutePositioning, nullptr, 0),
              S_OK);
    EXPECT_EQ(played.graph.Event(20'000), EC_COMPLETE) << "and once more from the start";
}

TEST(GraphRounds, OpeningAndClosingLeavesNothingBehind) {
    const Watchdog watchdog("open and close");
    ProcessCounts before;
    for (int round = 0; round < 500; ++round) {
        {
            Played played;
            if (round % 5 == 0) played.graph.control->Run();
            if (round % 5 == 1) played.graph.control->Pause();
        }
        if (round == 50) before = ProcessCounts::Now();
    }
    ExpectNothingLeft(before);
    EXPECT_EQ(TestSource::alive, 0);
}

}  // namespace
}  // namespace Vimbrel::test

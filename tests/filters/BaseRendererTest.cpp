// The renderer's base class in the system's graph: the same tests on both systems.
#include <gtest/gtest.h>

#include "tests/support/GraphKit.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

class BaseRendererTest : public testing::Test {
protected:
    BaseRendererTest() {
        source->Output().types = {VideoType(MEDIASUBTYPE_RGB32, 4, 4, 64)};
        EXPECT_EQ(graph.graph->AddFilter(source.Get(), L"source"), S_OK);
        EXPECT_EQ(graph.graph->AddFilter(renderer.Get(), L"renderer"), S_OK);
        EXPECT_EQ(graph.graph->ConnectDirect(&source->Output(), renderer->Pin(), nullptr), S_OK);
        graph.SetClock(clock.Get());
    }
    ~BaseRendererTest() override { graph.control->Stop(); }

    // Pauses, and leaves a thread in the renderer with a sample.
    HRESULT WaitForSample() {
        OAFilterState state = 0;
        return graph.control->GetState(20'000, &state);
    }
    HRESULT Send(REFERENCE_TIME start, REFERENCE_TIME end) {
        return source->Output().Send(start, end);
    }

    const Watchdog watchdog{"renderer test"};
    TestGraph graph;
    ComPtr<TestClock> clock = MakeCom<TestClock>();
    ComPtr<TestSource> source = MakeCom<TestSource>();
    ComPtr<TestRenderer> renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
};

TEST_F(BaseRendererTest, HoldsItsFirstSampleInPauseAndRendersItWhenDue) {
    EXPECT_EQ(graph.control->Pause(), S_FALSE);
    Streaming streaming([this] { return Send(second, 2 * second); });
    EXPECT_EQ(WaitForSample(), S_OK);
    EXPECT_EQ(renderer->rendered, 0);
    EXPECT_GE(graph.control->Run(), 0);
    EXPECT_TRUE(clock->WasRead());
    EXPECT_EQ(renderer->rendered, 0) << "a second is missing still";
    clock->now += 2 * second;
    EXPECT_EQ(streaming.Join(), S_OK);
    EXPECT_EQ(renderer->rendered, 1);
    // Paused again, it holds the next one without limit, however late that is.
    EXPECT_EQ(graph.control->Pause(), S_FALSE);
    Streaming next([this] { return Send(0, second); });
    EXPECT_EQ(WaitForSample(), S_OK);
    EXPECT_EQ(renderer->rendered, 1);
    EXPECT_GE(graph.control->Run(), 0);
    EXPECT_EQ(next.Join(), S_OK);
    EXPECT_EQ(renderer->rendered, 2);
}

TEST_F(BaseRendererTest, WithoutAClockOrATimeNothingWaits) {
    graph.SetClock(nullptr);
    graph.control->Pause();
    Streaming streaming([this] {
        Send(1000 * second, 1001 * second);
        return Send(-1, -1);
    });
    EXPECT_EQ(WaitForSample(), S_OK);
    EXPECT_GE(graph.control->Run(), 0);
    EXPECT_EQ(streaming.Join(), S_OK);
    EXPECT_EQ(renderer->rendered, 2);
    EXPECT_EQ(renderer->last_time, -1) << "no time reaches the renderer";
}

TEST_F(BaseRendererTest, StopAndFlushFreeAWaitingThreadPausedOrRunning) {
    for (const bool running : {false, true}) {
        for (const bool flush : {false, true}) {
            const int before = renderer->rendered;
            graph.control->Pause();
            Streaming streaming([this] { return Send(100 * second, 101 * second); });
            EXPECT_EQ(WaitForSample(), S_OK);
            if (running) {
                EXPECT_GE(graph.control->Run(), 0);
            }
            if (flush) {
                EXPECT_EQ(source->Output().DeliverBeginFlush(), S_OK);
                EXPECT_EQ(Send(0, 1), S_FALSE) << "while flushing";
                EXPECT_EQ(streaming.Join(), S_FALSE);
                EXPECT_EQ(source->Output().DeliverEndFlush(), S_OK);
                FILTER_STATE state = State_Stopped;
                EXPECT_EQ(renderer->GetState(0, &state), running ? S_OK : VFW_S_STATE_INTERMEDIATE)
                    << "the sample is gone";
            }
            EXPECT_GE(graph.control->Stop(), 0);
            if (!flush) {
                EXPECT_EQ(streaming.Join(), VFW_E_WRONG_STATE);
            }
            EXPECT_EQ(renderer->rendered, before);
            EXPECT_LT(Send(0, 1), 0) << "nothing is taken when stopped";
        }
    }
}

TEST_F(BaseRendererTest, TheEndIsReportedWhenTheLastSampleIsOver) {
    graph.control->Pause();
    Streaming streaming([this] {
        Send(0, 5 * second);
        return source->Output().DeliverEndOfStream();
    });
    EXPECT_EQ(WaitForSample(), S_OK);
    EXPECT_GE(graph.control->Run(), 0);
    clock->now += second;
    EXPECT_TRUE(WaitUntil([&] { return renderer->rendered == 1; }));
    EXPECT_TRUE(clock->WasRead());
    EXPECT_NE(graph.Event(0), EC_COMPLETE) << "the sample lasts";
    clock->now += 5 * second;
    EXPECT_EQ(streaming.Join(), S_OK);
    LONG code = 0;
    EXPECT_TRUE(WaitUntil([&] { return (code = graph.Event(0)) == EC_COMPLETE; })) << code;
    EXPECT_LT(Send(0, 1), 0) << "nothing after the end";
    // A flush opens the stream again; a stop in the middle of an end reports none.
    source->Output().DeliverBeginFlush();
    source->Output().DeliverEndFlush();
    EXPECT_EQ(Send(0, 1), S_OK);
    graph.control->Stop();
    graph.control->Pause();
    Streaming end([this] { return source->Output().DeliverEndOfStream(); });
    EXPECT_EQ(WaitForSample(), S_OK) << "an end is something to begin with";
    graph.control->Stop();
    EXPECT_EQ(end.Join(), VFW_E_WRONG_STATE);
    EXPECT_NE(graph.Event(0), EC_COMPLETE);
}

TEST_F(BaseRendererTest, SegmentsAndTypesComeInOrderWithTheSamples) {
    graph.SetClock(nullptr);
    graph.control->Pause();
    const CMediaType other = VideoType(MEDIASUBTYPE_RGB32, 2, 2, 16);
    const CMediaType refused = VideoType(MEDIASUBTYPE_RGB24, 2, 2, 16);
    Streaming streaming([&] {
        source->Output().DeliverNewSegment(7 * second, 9 * second, 1.0);
        Send(second, second + 1);
        return source->Output().Send(2 * second, 2 * second + 1, &other);
    });
    EXPECT_EQ(WaitForSample(), S_OK);
    EXPECT_EQ(renderer->last_size, 64u);
    EXPECT_GE(graph.control->Run(), 0);
    EXPECT_EQ(streaming.Join(), S_OK);
    EXPECT_EQ(renderer->last_time, 9 * second);
    EXPECT_EQ(renderer->last_size, 16u);
    CMediaType now;
    EXPECT_EQ(renderer->Pin()->ConnectionMediaType(&now), S_OK);
    EXPECT_TRUE(now == other);
    EXPECT_EQ(source->Output().Send(0, 1, &refused), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(renderer->rendered, 2);
    LONG code = 0;
    EXPECT_TRUE(WaitUntil([&] { return (code = graph.Event(0)) == EC_ERRORABORT; })) << code;
}

TEST_F(BaseRendererTest, ARendererWithoutAConnectionEndsWhenItRuns) {
    graph.graph->Disconnect(renderer->Pin());
    graph.graph->Disconnect(&source->Output());
    EXPECT_GE(graph.control->Run(), 0);
    LONG code = 0;
    EXPECT_TRUE(WaitUntil([&] { return (code = graph.Event(0)) == EC_COMPLETE; })) << code;
}

}  // namespace
}  // namespace Vimbrel::test

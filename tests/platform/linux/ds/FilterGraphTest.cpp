#include <gtest/gtest.h>

#include "tests/support/GraphKit.h"
#include "tests/support/TestTransform.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

const CMediaType rgb32 = VideoType(MEDIASUBTYPE_RGB32, 4, 4, 64);
const CMediaType rgb24 = VideoType(MEDIASUBTYPE_RGB24, 4, 4, 64);
const CMediaType yuy2 = VideoType(MEDIASUBTYPE_YUY2, 4, 4, 64);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class FailingSeeking final : public TestSeeking {
public:
    explicit FailingSeeking(IUnknown& owner) : TestSeeking(owner, 100 * second) {}
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG*, DWORD, LONGLONG*, DWORD) override {
        return E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE SetRate(double value) override {
        rate = value;
        return S_OK;
    }
    double rate = 1;
};
#pragma GCC diagnostic pop

int Alive() { return TestSource::alive + TestRenderer::alive + TestTransform::alive; }

class FilterGraphTest : public testing::Test {
protected:
    FilterGraphTest() { source->Output().types = {rgb24}; }
    template <class Filter>
    void Add(const ComPtr<Filter>& filter) {
        EXPECT_EQ(graph.graph->AddFilter(filter.Get(), nullptr), S_OK);
    }
    static bool IsConnected(IPin* pin) {
        ComPtr<IPin> peer;
        return pin->ConnectedTo(peer.Put()) == S_OK;
    }

    const Watchdog watchdog{"graph test"};
    TestGraph graph;
    ComPtr<TestSource> source = MakeCom<TestSource>();
    ComPtr<TestTransform> first = MakeCom<TestTransform>(MEDIASUBTYPE_RGB24, yuy2);
    ComPtr<TestTransform> second_transform = MakeCom<TestTransform>(MEDIASUBTYPE_YUY2, rgb32);
    ComPtr<TestRenderer> renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
};

TEST_F(FilterGraphTest, NamesAreUniqueAndRemovalDisconnects) {
    EXPECT_EQ(graph.graph->AddFilter(source.Get(), L"A"), S_OK);
    EXPECT_EQ(graph.graph->AddFilter(renderer.Get(), L"A"), VFW_S_DUPLICATE_NAME);
    EXPECT_LT(graph.graph->AddFilter(source.Get(), L"B"), 0) << "it is in the graph";
    ComPtr<IBaseFilter> found;
    EXPECT_EQ(graph.graph->FindFilterByName(L"A", found.Put()), S_OK);
    EXPECT_EQ(found.Get(), source.Get());
    EXPECT_EQ(graph.graph->FindFilterByName(L"C", found.Put()), VFW_E_NOT_FOUND);
    source->Output().types = {rgb32};
    const auto outsider = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
    EXPECT_EQ(graph.graph->Connect(&source->Output(), outsider->Pin()), VFW_E_NOT_IN_GRAPH);
    ASSERT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
    EXPECT_EQ(graph.control->Pause(), S_FALSE);
    EXPECT_EQ(graph.graph->RemoveFilter(renderer.Get()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(graph.control->Stop(), S_OK);
    EXPECT_EQ(graph.graph->RemoveFilter(renderer.Get()), S_OK);
    EXPECT_EQ(graph.graph->RemoveFilter(renderer.Get()), VFW_E_NOT_IN_GRAPH);
    EXPECT_FALSE(IsConnected(&source->Output()));
    FILTER_INFO info{};
    renderer->QueryFilterInfo(&info);
    EXPECT_EQ(info.pGraph, nullptr);
}

TEST_F(FilterGraphTest, ConnectsThroughTransformsOfTheGraphAndUndoesWhatFails) {
    Add(source);
    Add(renderer);
    Add(first);
    EXPECT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), VFW_E_CANNOT_CONNECT);
    EXPECT_FALSE(IsConnected(&source->Output()));
    EXPECT_FALSE(IsConnected(&first->input));
    Add(second_transform);
    EXPECT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
    EXPECT_TRUE(IsConnected(&first->output) && IsConnected(&second_transform->output));
}

TEST_F(FilterGraphTest, RenderPrefersTransformsAndSaysWhenSomeOutputsLeadNowhere) {
    Add(renderer);
    Add(source);
    EXPECT_EQ(graph.graph->RenderEx(&source->Output(), 1, nullptr), VFW_E_CANNOT_RENDER);
    const auto direct = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB24);
    Add(direct);
    Add(first);
    // The transform leads nowhere: undone, and the renderer that takes the stream as it is used.
    EXPECT_EQ(graph.graph->RenderEx(&source->Output(), 1, nullptr), S_OK);
    EXPECT_TRUE(IsConnected(direct->Pin()));
    EXPECT_FALSE(IsConnected(&first->input));
    graph.graph->Disconnect(direct->Pin());
    graph.graph->Disconnect(&source->Output());
    Add(second_transform);
    EXPECT_EQ(graph.graph->RenderEx(&source->Output(), 1, nullptr), S_OK);
    EXPECT_TRUE(IsConnected(renderer->Pin())) << "transforms come first";
    EXPECT_FALSE(IsConnected(direct->Pin()));
    EXPECT_EQ(graph.graph->RenderEx(&source->Output(), 2, nullptr), E_INVALIDARG);
    CMediaType other;
    EXPECT_EQ(graph.graph->ReconnectEx(renderer->Pin(), &rgb24), E_INVALIDARG);
    EXPECT_EQ(renderer->Pin()->ConnectionMediaType(&other), S_OK) << "as it was";
    EXPECT_TRUE(other == rgb32);
}

TEST_F(FilterGraphTest, OneEndIsReportedWhenAllRenderersHaveEnded) {
    source = MakeCom<TestSource>(2);
    source->Output(0).types = source->Output(1).types = {rgb32};
    const auto other = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
    Add(source);
    Add(renderer);
    Add(other);
    graph.SetClock(nullptr);
    ASSERT_EQ(graph.graph->Connect(&source->Output(0), renderer->Pin()), S_OK);
    ASSERT_EQ(graph.graph->Connect(&source->Output(1), other->Pin()), S_OK);
    for (int round = 0; round < 2; ++round) {
        graph.control->Pause();
        Streaming one([&] { return source->Output(0).DeliverEndOfStream(); });
        Streaming two([&] { return source->Output(1).Send(0, 1); });
        EXPECT_EQ(graph.control->Run(), S_OK);
        one.Join();
        two.Join();
        EXPECT_EQ(graph.Event(0), 0);
        source->Output(1).DeliverEndOfStream();
        LONG_PTR result = -1;
        EXPECT_EQ(graph.Event(20'000, &result), EC_COMPLETE);
        EXPECT_EQ(result, S_OK);
        EXPECT_EQ(graph.Event(0), 0);
        EXPECT_EQ(graph.control->Stop(), S_OK);
    }
}

TEST_F(FilterGraphTest, EventsReachAWindowOfTheThreadThatOpened) {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = DefWindowProcW;
    window_class.lpszClassName = L"graph events";
    RegisterClassW(&window_class);
    const HWND window = CreateWindowExW(0, L"graph events", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE,
                                        nullptr, nullptr, nullptr);
    graph.events->SetNotifyWindow(reinterpret_cast<OAHWND>(window), WM_APP + 3, 77);
    const auto sink = graph.As<IMediaEventSink>();
    std::thread([&] { sink->Notify(EC_DEVICE_LOST, 1, 2); }).join();
    MSG message{};
    ASSERT_EQ(GetMessageW(&message, nullptr, 0, 0), 1);
    EXPECT_EQ(message.hwnd, window);
    EXPECT_EQ(message.message, WM_APP + 3u);
    EXPECT_EQ(message.lParam, 77);
    EXPECT_EQ(graph.Event(0), EC_DEVICE_LOST);
    graph.events->SetNotifyWindow(0, 0, 0);
    sink->Notify(EC_DEVICE_LOST, 1, 2);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    DestroyWindow(window);
}

TEST_F(FilterGraphTest, PositionFollowsTheClockAtTheRateFromTheSeek) {
    const auto clock = MakeCom<TestClock>();
    source->Output().types = {rgb32};
    Add(source);
    Add(renderer);
    graph.SetClock(clock.Get());
    ASSERT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
    const auto position = graph.As<IMediaPosition>();
    const auto seeking = graph.As<IMediaSeeking>();
    const auto now = [&] {
        double seconds = -1;
        EXPECT_EQ(position->get_CurrentPosition(&seconds), S_OK);
        return seconds;
    };
    EXPECT_EQ(position->put_CurrentPosition(3), E_NOTIMPL) << "a source that cannot seek";
    EXPECT_EQ(position->put_Rate(0), E_INVALIDARG);
    graph.control->Pause();
    Streaming streaming([&] { return source->Output().Send(50 * second, 51 * second); });
    EXPECT_EQ(graph.control->Run(), S_OK);
    EXPECT_EQ(now(), 0.0);
    clock->now += 2 * second;
    EXPECT_EQ(now(), 2.0);
    graph.control->Pause();
    clock->now += 2 * second;
    EXPECT_EQ(now(), 2.0) << "paused";
    EXPECT_EQ(graph.control->Run(), S_OK);
    EXPECT_EQ(now(), 2.0);
    clock->now += second / 2;
    EXPECT_EQ(now(), 2.5);
    graph.control->Stop();
    streaming.Join();
    EXPECT_EQ(now(), 0.0);
    for (const double bad : {1e300, -1e300}) EXPECT_EQ(position->put_StopTime(bad), E_INVALIDARG);
}

TEST_F(FilterGraphTest, ASeekThatFailsLeavesTheEndAndTheRate) {
    FailingSeeking failing(*static_cast<IBaseFilter*>(source.Get()));
    source->Output().seeking = &failing;
    source->Output().types = {rgb32};
    Add(source);
    Add(renderer);
    graph.SetClock(nullptr);
    ASSERT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
    graph.control->Pause();
    Streaming end([&] { return source->Output().DeliverEndOfStream(); });
    EXPECT_EQ(graph.control->Run(), S_OK);
    EXPECT_EQ(end.Join(), S_OK);
    const auto position = graph.As<IMediaPosition>();
    EXPECT_EQ(position->put_CurrentPosition(3), E_FAIL);
    EXPECT_EQ(graph.Event(0), EC_COMPLETE);
    EXPECT_EQ(position->put_Rate(2), E_FAIL);
    double rate = 0;
    EXPECT_EQ(position->get_Rate(&rate), S_OK);
    EXPECT_EQ(rate, 1.0);
    EXPECT_EQ(failing.rate, 1.0);
    graph.control->Stop();
    source->Output().seeking = nullptr;
}

TEST_F(FilterGraphTest, VideoWindowsAreRefusedAndTheClockStaysWhileRunning) {
    EXPECT_EQ(graph.As<IVideoWindow>()->put_Visible(0), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(graph.control->Run(), S_OK);
    EXPECT_EQ(graph.As<IMediaFilter>()->SetSyncSource(nullptr), VFW_E_NOT_STOPPED);
    ComPtr<IReferenceClock> clock;
    EXPECT_EQ(graph.As<IMediaFilter>()->GetSyncSource(clock.Put()), S_OK);
    ASSERT_TRUE(clock);
    REFERENCE_TIME one = 0;
    REFERENCE_TIME two = 0;
    clock->GetTime(&one);
    clock->GetTime(&two);
    EXPECT_LE(one, two);
}

TEST(FilterGraph, ReleasesEverythingInAnyOrder) {
    for (int round = 0; round < 4; ++round) {
        {
            TestGraph graph;
            auto source = MakeCom<TestSource>();
            auto renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
            source->Output().types = {rgb32};
            graph.graph->AddFilter(source.Get(), nullptr);
            graph.graph->AddFilter(renderer.Get(), nullptr);
            ASSERT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
            if ((round & 1) != 0) graph.control->Pause();
            if ((round & 2) != 0) {
                source.Reset();
                renderer.Reset();
            }
            graph.events.Reset();
            graph.graph.Reset();
            graph.control.Reset();
        }
        EXPECT_EQ(Alive(), 0) << round;
    }
}

}  // namespace
}  // namespace Vimbrel::test

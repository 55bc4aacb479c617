// The in-place transform between a source and a renderer, in the system's graph on both systems.
#include "filters/TransInPlaceFilter.h"

#include <gtest/gtest.h>

#include "tests/support/GraphKit.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Adds 1 to the first byte.
class Adder final : public CTransInPlaceFilter {
public:
    explicit Adder(bool modifies) : CTransInPlaceFilter(GUID_NULL, modifies) {}
    HRESULT CheckInputType(const CMediaType* type) override {
        return type->majortype == MEDIATYPE_Video ? S_OK : E_INVALIDARG;
    }
    HRESULT Transform(IMediaSample* sample) override {
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        if (ModifiesData()) ++*data;
        return drops ? S_FALSE : S_OK;
    }
    HRESULT EndFlush() override {
        ++flushes;
        return CTransInPlaceFilter::EndFlush();
    }
    bool drops = false;
    int flushes = 0;
};
#pragma GCC diagnostic pop

const CMediaType rgb32 = VideoType(MEDIASUBTYPE_RGB32, 4, 4, 64);
const CMediaType rgb24 = VideoType(MEDIASUBTYPE_RGB24, 4, 4, 64);

class TransInPlaceTest : public testing::Test {
protected:
    void Build(bool modifies = true, bool read_only = false) {
        adder = MakeCom<Adder>(modifies);
        source->Output().types = {rgb24, rgb32};
        source->Output().read_only = read_only;
        graph.graph->AddFilter(source.Get(), L"source");
        graph.graph->AddFilter(adder.Get(), L"adder");
        graph.graph->AddFilter(renderer.Get(), L"renderer");
    }
    HRESULT ConnectInput() {
        return graph.graph->ConnectDirect(&source->Output(), &adder->Input(), nullptr);
    }
    HRESULT ConnectOutput() {
        return graph.graph->ConnectDirect(&adder->Output(), renderer->Pin(), nullptr);
    }
    void ExpectOneType() {
        EXPECT_TRUE(adder->Input().ConnectionType() == rgb32);
        EXPECT_TRUE(adder->Output().ConnectionType() == rgb32);
        CMediaType type;
        EXPECT_EQ(source->Output().ConnectionMediaType(&type), S_OK);
        EXPECT_TRUE(type == rgb32);
    }
    void Run() {
        graph.SetClock(nullptr);
        graph.control->Pause();
        renderer->Run(0);
    }

    const Watchdog watchdog{"transform test"};
    TestGraph graph;
    ComPtr<TestSource> source = MakeCom<TestSource>();
    ComPtr<TestRenderer> renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
    ComPtr<Adder> adder;
};

TEST_F(TransInPlaceTest, TheInputIsConnectedAnewForTheTypeOfTheOutput) {
    Build();
    ASSERT_EQ(ConnectInput(), S_OK);
    EXPECT_TRUE(adder->Input().ConnectionType() == rgb24) << "the source's first type";
    ASSERT_EQ(ConnectOutput(), S_OK);
    ExpectOneType();
    Run();
    EXPECT_EQ(source->Output().Send(0, 1), S_OK);
    EXPECT_EQ(renderer->last_byte, 2);
    EXPECT_EQ(renderer->last_data, source->Output().last_data) << "one memory for both sides";
    EXPECT_EQ(source->Output().last_byte, 2);
    adder->drops = true;
    EXPECT_EQ(source->Output().Send(0, 1), S_OK);
    EXPECT_EQ(renderer->rendered, 1);
}

TEST_F(TransInPlaceTest, ConnectedFromTheEndItTakesWhatTheEndTakes) {
    Build();
    EXPECT_NE(adder->Output().Connect(renderer->Pin(), nullptr), S_OK) << "no type is known";
    ASSERT_EQ(adder->Output().Connect(renderer->Pin(), &rgb32), S_OK);
    EXPECT_EQ(adder->Input().QueryAccept(&rgb24), S_FALSE);
    ASSERT_EQ(ConnectInput(), S_OK);
    ExpectOneType();
    Run();
    EXPECT_EQ(source->Output().Send(0, 1), S_OK);
    EXPECT_EQ(renderer->last_data, source->Output().last_data);
}

TEST_F(TransInPlaceTest, ReadOnlySamplesAreCopiedOnlyForChange) {
    for (const bool modifies : {true, false}) {
        Build(modifies, true);
        ASSERT_EQ(ConnectInput(), S_OK);
        ASSERT_EQ(ConnectOutput(), S_OK);
        Run();
        EXPECT_EQ(source->Output().Send(5, 9), S_OK);
        EXPECT_EQ(source->Output().last_byte, 1);
        EXPECT_EQ(renderer->last_byte, modifies ? 2 : 1);
        EXPECT_EQ(renderer->last_data != source->Output().last_data, modifies);
        EXPECT_EQ(renderer->last_time, 5);
        graph.control->Stop();
        for (const ComPtr<IBaseFilter>& each :
             {source.As<IBaseFilter>(), adder.As<IBaseFilter>(), renderer.As<IBaseFilter>()})
            graph.graph->RemoveFilter(each.Get());
    }
}

TEST_F(TransInPlaceTest, StopsFlushesSegmentsAndEndsPassThrough) {
    Build();
    ASSERT_EQ(ConnectInput(), S_OK);
    ASSERT_EQ(ConnectOutput(), S_OK);
    graph.SetClock(nullptr);
    OAFilterState state = 0;
    graph.control->Pause();
    source->Output().DeliverNewSegment(3 * second, 4 * second, 1.0);
    {
        Streaming streaming([this] { return source->Output().Send(0, 1); });
        EXPECT_EQ(graph.control->GetState(20'000, &state), S_OK);
        source->Output().DeliverBeginFlush();
        EXPECT_EQ(streaming.Join(), S_FALSE);
        EXPECT_EQ(source->Output().Send(0, 1), S_FALSE);
        source->Output().DeliverEndFlush();
        EXPECT_EQ(adder->flushes, 1);
    }
    {
        Streaming streaming([this] { return source->Output().Send(0, 1); });
        EXPECT_EQ(graph.control->GetState(20'000, &state), S_OK);
        EXPECT_GE(graph.control->Stop(), 0);
        EXPECT_EQ(streaming.Join(), VFW_E_WRONG_STATE);
    }
    graph.control->Pause();
    Streaming streaming([this] {
        source->Output().Send(second, second + 1);
        return source->Output().DeliverEndOfStream();
    });
    EXPECT_EQ(graph.control->GetState(20'000, &state), S_OK);
    EXPECT_GE(graph.control->Run(), 0);
    EXPECT_EQ(streaming.Join(), S_OK);
    EXPECT_EQ(renderer->last_time, 4 * second);
    LONG code = 0;
    EXPECT_TRUE(WaitUntil([&] { return (code = graph.Event(0)) == EC_COMPLETE; })) << code;
    EXPECT_TRUE(adder->Output().Peer() && ComPtr<IPin>(&adder->Output()).As<IMediaPosition>());
}

}  // namespace
}  // namespace Vimbrel::test

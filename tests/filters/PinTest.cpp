// Connections of the base classes' pins, in the system's graph on both systems.
#include <gtest/gtest.h>

#include "filters/Enumerators.h"
#include "tests/support/GraphKit.h"

namespace Vimbrel::test {
namespace {

class PinTest : public testing::Test {
protected:
    PinTest() {
        source->Output().types = {VideoType(MEDIASUBTYPE_RGB24, 4, 4, 48),
                                  VideoType(MEDIASUBTYPE_RGB32, 4, 4, 64)};
        graph.graph->AddFilter(source.Get(), L"source");
        graph.graph->AddFilter(renderer.Get(), L"renderer");
    }

    TestGraph graph;
    ComPtr<TestSource> source = MakeCom<TestSource>();
    ComPtr<TestRenderer> renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
};

TEST_F(PinTest, ConnectsByTheFirstTypeThatBothTakeAndOnlyWhenStopped) {
    IPin* const out = &source->Output();
    IPin* const in = renderer->Pin();
    EXPECT_EQ(out->Connect(out, nullptr), VFW_E_INVALID_DIRECTION);
    CMediaType wanted = source->Output().types[0];
    EXPECT_EQ(out->Connect(in, &wanted), VFW_E_TYPE_NOT_ACCEPTED);
    wanted.subtype = MEDIASUBTYPE_YUY2;
    wanted.formattype = GUID_NULL;
    EXPECT_EQ(out->Connect(in, &wanted), VFW_E_NO_ACCEPTABLE_TYPES);
    ComPtr<IPin> peer;
    EXPECT_EQ(in->ConnectedTo(peer.Put()), VFW_E_NOT_CONNECTED);

    renderer->Pause();
    EXPECT_EQ(out->Connect(in, nullptr), VFW_E_NOT_STOPPED);
    renderer->Stop();
    EXPECT_EQ(out->Connect(in, nullptr), S_OK);
    EXPECT_EQ(out->Connect(in, nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(in->ConnectedTo(peer.Put()), S_OK);
    EXPECT_EQ(peer.Get(), out);
    CMediaType type;
    EXPECT_EQ(in->ConnectionMediaType(&type), S_OK);
    EXPECT_TRUE(type == source->Output().types[1]);
    EXPECT_EQ(in->QueryAccept(&type), S_OK);
    EXPECT_EQ(in->QueryAccept(&source->Output().types[0]), S_FALSE);

    source->Pause();
    EXPECT_EQ(out->Disconnect(), VFW_E_NOT_STOPPED);
    source->Stop();
    EXPECT_EQ(out->Disconnect(), S_OK);
    EXPECT_EQ(out->Disconnect(), S_FALSE);
    EXPECT_EQ(in->Disconnect(), S_OK);
}

TEST_F(PinTest, TellsWhatItIsAndEnumeratesInOrder) {
    PIN_INFO info{};
    EXPECT_EQ(source->Output().QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.pFilter, source.Get());
    EXPECT_EQ(info.dir, PINDIR_OUTPUT);
    EXPECT_EQ(std::wstring(info.achName), L"Out 0");
    info.pFilter->Release();
    ComPtr<IPin> found;
    EXPECT_EQ(source->FindPin(L"Out 0", found.Put()), S_OK);
    EXPECT_EQ(source->FindPin(L"Out 1", found.Put()), VFW_E_NOT_FOUND);

    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(source->Output().EnumMediaTypes(types.Put()), S_OK);
    AM_MEDIA_TYPE* taken[3] = {};
    ULONG count = 0;
    EXPECT_EQ(types->Skip(1), S_OK);
    ComPtr<IEnumMediaTypes> copy;
    EXPECT_EQ(types->Clone(copy.Put()), S_OK);
    EXPECT_EQ(copy->Next(3, taken, &count), S_FALSE);
    ASSERT_EQ(count, 1u);
    EXPECT_TRUE(CMediaType(*taken[0]) == source->Output().types[1]);
    DeleteMediaType(taken[0]);
    EXPECT_EQ(copy->Skip(1), S_FALSE);
    EXPECT_EQ(copy->Reset(), S_OK);
    EXPECT_EQ(TypesOf(source->Output()).size(), 2u);
    EXPECT_EQ(PinsOf(*renderer.Get()).size(), 1u);
    FILTER_INFO filter{};
    EXPECT_EQ(renderer->QueryFilterInfo(&filter), S_OK);
    EXPECT_EQ(std::wstring(filter.achName), L"renderer");
    ASSERT_NE(filter.pGraph, nullptr);
    filter.pGraph->Release();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Keeps where it was sent.
class Seeking final : public TestSeeking {
public:
    explicit Seeking(IUnknown& owner) : TestSeeking(owner, 60 * second) {}
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD, LONGLONG*, DWORD) override {
        position = *current;
        return S_OK;
    }
    LONGLONG position = -1;
};
#pragma GCC diagnostic pop

TEST_F(PinTest, APositionReachesTheSourceThroughTheRenderer) {
    Seeking seeking(*source.Get());
    source->Output().seeking = &seeking;
    const auto pass_through = renderer.As<IMediaSeeking>();
    LONGLONG duration = 0;
    EXPECT_EQ(pass_through->GetDuration(&duration), VFW_E_NOT_CONNECTED);
    ASSERT_EQ(source->Output().Connect(renderer->Pin(), nullptr), S_OK);
    EXPECT_EQ(pass_through->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 60 * second);
    EXPECT_EQ(renderer.As<IMediaPosition>()->put_CurrentPosition(1.0), E_NOTIMPL)
        << "the source has no such interface";
    const auto position = graph.As<IMediaPosition>();
    double seconds = 0;
    EXPECT_EQ(position->get_Duration(&seconds), S_OK);
    EXPECT_EQ(seconds, 60.0);
    EXPECT_GE(position->put_CurrentPosition(12.5), 0);
    EXPECT_EQ(seeking.position, 12 * second + second / 2);
    EXPECT_EQ(position->get_CurrentPosition(&seconds), S_OK);
    EXPECT_EQ(seconds, 12.5);
}

}  // namespace
}  // namespace Vimbrel::test

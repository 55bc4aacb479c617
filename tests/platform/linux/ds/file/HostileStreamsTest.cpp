// Streams that want too much memory, or turn into what nobody understands.
#include <gtest/gtest.h>

#include "filters/OutsideInterfaces.h"
#include "platform/linux/ds/file/PacketQueue.h"
#include "tests/support/GraphKit.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

TEST(PacketQueue, ALaneHoldsHalfAGigabyteWhileAnotherOneIsEmpty) {
    const Watchdog watchdog("packet queue");
    PacketQueue queue;
    std::atomic<int> pushed{0};
    const auto push = [&](std::size_t lane) {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        packet->size = 32 << 20;  // nobody looks at the data, and there is none
        const bool taken = queue.Push(lane, std::move(packet));
        if (taken) ++pushed;
        return taken;
    };
    const auto fill = [&](int room) {
        pushed = 0;
        std::thread pushing([&] {
            for (int i = 0; i < 100 && push(0); ++i) {
            }
        });
        EXPECT_TRUE(WaitUntil([&] { return pushed >= room; }));
        queue.Abort();
        pushing.join();
        EXPECT_EQ(pushed, room);
    };
    queue.Reset({false, false});
    fill(16);
    queue.Reset({false, true});
    fill(2);
    // What is taken out makes room again.
    queue.Reset({false});
    FfmpegPtr<AVPacket> packet;
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(push(0));
        ASSERT_EQ(queue.Pop(0, packet), PacketQueue::Result::packet);
    }
}

TEST(DecoderInput, ATypeThatIsRefusedEndsTheStream) {
    const Watchdog watchdog("refused type");
    CMediaType pictures = VideoType(MEDIASUBTYPE_RGB32, 4, 4, 64);
    pictures.subtype = MEDIASUBTYPE_PCM;
    pictures.subtype.Data1 = 0x47504A4D;  // MJPG
    TestGraph graph;
    const auto source = MakeCom<TestSource>();
    source->Output().types = {pictures};
    const auto renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_RGB32);
    ComPtr<IBaseFilter> decoder;
    ASSERT_EQ(CreateObject(class_video_decoder, decoder), S_OK);
    graph.graph->AddFilter(source.Get(), nullptr);
    graph.graph->AddFilter(decoder.Get(), nullptr);
    graph.graph->AddFilter(renderer.Get(), nullptr);
    graph.SetClock(nullptr);
    ASSERT_EQ(graph.graph->Connect(&source->Output(), renderer->Pin()), S_OK);
    graph.control->Pause();
    CMediaType sound = pictures;
    sound.majortype = MEDIATYPE_Audio;
    Streaming sending([&] { return source->Output().Send(0, 1, &sound); });
    EXPECT_EQ(graph.control->Run(), S_OK);
    EXPECT_EQ(sending.Join(), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(graph.Event(0), EC_COMPLETE);
    EXPECT_EQ(graph.Event(0), EC_ERRORABORT);
    graph.control->Stop();
}

}  // namespace
}  // namespace Vimbrel::test

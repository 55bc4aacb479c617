// The pictures of a stream, by all ways in which one may bring them.
#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "com/ComPtr.h"
#include "platform/linux/screen/CastDuplication.h"
#include "platform/linux/screen/GraphicsDevice.h"
#include "tests/integration/screen/ScreenKit.h"
#include "tests/support/PortalDesktop.h"
#include "vimbrel/ScreenAccess.h"

namespace Vimbrel::test {

namespace {

using testing::IsEmpty;
using Result = ScreenAccess::Result;

// The kinds of streams: pixels as they are or red first, in the producer's own memory or
// PipeWire's.
class WaylandStreamTest : public testing::TestWithParam<std::vector<std::string>> {};
const std::vector<std::string> stream_kinds[] = {{}, {"rgb"}, {"pooled"}, {"pooled", "rgb"}};
INSTANTIATE_TEST_SUITE_P(Kinds, WaylandStreamTest, testing::ValuesIn(stream_kinds));

TEST_P(WaylandStreamTest, WithoutDamageAndWithCropItIsReadWhole) {
    PortalDesktop desktop(GetParam());
    for (const char* const line : {"nodamage", "crop 4 6 40 20", "paint 0 0 64 48 0000FF",
                                   "paint 4 6 1 1 123456", "paint 43 25 1 1 654321"})
        desktop.Tell(line);
    ScreenAccess access;
    ASSERT_EQ(access.Ask({}), Result::Granted);
    EXPECT_EQ(access.Width(), 40);
    EXPECT_EQ(access.Height(), 20);
    Screen screen({0, 0, 40, 20});
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(0, 0), 0x123456u);
    EXPECT_EQ(screen.At(39, 19), 0x654321u);
    EXPECT_EQ(screen.At(1, 0), 0xFFu);
    EXPECT_EQ(screen.dispatcher.video.back().pixels[3], 0xFF);
    desktop.Tell("paint 10 10 1 1 777777");
    desktop.Show(60, 40, 1, 1, 1);
    EXPECT_TRUE(SeesAt(screen, 6, 4, 0x777777));
}

// A copy of the next frame, which is released; null if none comes.
ComPtr<Texture> CopyFrame(IDXGIOutputDuplication& duplication) {
    DXGI_OUTDUPL_FRAME_INFO info{};
    ComPtr<IDXGIResource> frame;
    if (FAILED(duplication.AcquireNextFrame(5000, &info, frame.Put()))) return {};
    auto copy = MakeCom<Texture>(TextureDescription(64, 48, D3D11_USAGE_STAGING));
    MakeCom<GraphicsContext>()->CopyResource(copy.Get(), frame.As<ID3D11Resource>().Get());
    duplication.ReleaseFrame();
    return copy;
}

std::uint32_t LastColor(const ComPtr<Texture>& copy) {
    DXGI_MAPPED_RECT mapped{};
    if (!copy || FAILED(copy->Map(&mapped, DXGI_MAP_READ))) return 0;
    copy->Unmap();
    return ColorAt(mapped.pBits, mapped.Pitch, 63, 47);
}

// The producer has two buffers: one is the newest, and one is read.
TEST_P(WaylandStreamTest, ACopyKeepsItsPixelsWhateverTheProducerDoes) {
    PortalDesktop desktop(GetParam());
    desktop.Tell("buffers 2");
    desktop.Tell("paint 0 0 64 48 112233");
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(CastDuplication::Create(duplication.Put()), S_OK);
    auto kept = CopyFrame(*duplication.Get());
    desktop.Show(0, 0, 64, 48, 0x445566);
    EXPECT_EQ(LastColor(CopyFrame(*duplication.Get())), 0x445566u);
    EXPECT_EQ(LastColor(kept), 0x112233u);
    // It goes on as soon as the reader ends, without another request.
    std::thread producer([&] { desktop.Show(0, 0, 64, 48, 0x778899); });
    kept.Reset();
    producer.join();
    kept = CopyFrame(*duplication.Get());
    EXPECT_EQ(LastColor(kept), 0x778899u);
    desktop.Tell("resize 10 10");
    desktop.Show(0, 0, 10, 10, 1);
    EXPECT_FALSE(CopyFrame(*duplication.Get()));
    EXPECT_EQ(LastColor(kept), 0x778899u);
    desktop.KillPortal();
    duplication.Reset();
    EXPECT_EQ(LastColor(kept), 0x778899u);
}

}  // namespace

}  // namespace Vimbrel::test

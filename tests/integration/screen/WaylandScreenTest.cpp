// The screen on Wayland, by a portal that shows what the test paints.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "tests/fakes/CapturingLog.h"
#include "tests/integration/screen/ScreenKit.h"
#include "tests/support/PortalDesktop.h"
#include "vimbrel/ScreenAccess.h"

namespace Vimbrel::test {

namespace {

using testing::Contains;
using testing::IsEmpty;

constexpr char timed_out[] = "DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0027";

TEST(WaylandScreenTest, FramesComeWithChanges) {
    PortalDesktop desktop({"size 64 48", "paint 0 0 64 48 112233"});
    ScreenAccess access;
    EXPECT_EQ(access.Ask({}), ScreenAccess::Result::Granted);
    Screen screen({0, 0, 64, 48}, true);
    EXPECT_EQ(screen.method, 2);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(5, 5), 0x112233u);
    EXPECT_THAT(screen.Request(), Contains(timed_out));
    desktop.Show(10, 20, 3, 2, 0xFF8001);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(10, 20), 0xFF8001u);
    EXPECT_EQ(screen.At(13, 20), 0x112233u);
}

}  // namespace

}  // namespace Vimbrel::test

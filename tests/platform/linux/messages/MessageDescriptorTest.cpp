// The descriptor that a loop of the application's own watches.
#include <gtest/gtest.h>

#include <windows.h>

#include <poll.h>

#include <thread>

namespace Vimbrel::test {
namespace {

bool Readable(int milliseconds) {
    pollfd watched = {VimbrelMessageDescriptor(), POLLIN, 0};
    return poll(&watched, 1, milliseconds) == 1;
}

TEST(MessageDescriptor, IsReadableWhileThereAreMessages) {
    EXPECT_FALSE(Readable(0));
    const DWORD self = GetCurrentThreadId();
    std::thread poster([self] {
        PostThreadMessageW(self, WM_APP, 1, 0);
        PostThreadMessageW(self, WM_APP, 2, 0);
    });
    EXPECT_TRUE(Readable(20'000));
    poster.join();
    MSG message;
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_TRUE(Readable(0));
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_FALSE(Readable(0));
    int posted = 0;
    while (posted < 20'000 && PostThreadMessageW(self, WM_APP, 0, 0)) ++posted;
    EXPECT_EQ(posted, 10'000) << "a full queue takes nothing";
    PostQuitMessage(0);
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        EXPECT_TRUE(posted-- == 0 || Readable(0));
    EXPECT_FALSE(Readable(0));
}

}  // namespace
}  // namespace Vimbrel::test

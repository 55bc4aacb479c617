#include "base/MessageWait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace Vimbrel::test {
namespace {

TEST(MessageWait, TakesMessagesUntilTheEventAndKeepsTheQuit) {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const DWORD self = GetCurrentThreadId();
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
    constexpr int rounds = 100;
    int left = 0;
    for (int round = 0; round < rounds; ++round) {
        ResetEvent(event);
        PostThreadMessageW(self, WM_APP, 0, 0);
        PostQuitMessage(round);
        std::atomic<bool> set{false};
        std::thread other([&] {
            PostThreadMessageW(self, WM_APP, 1, 0);
            set = true;
            SetEvent(event);
        });
        EXPECT_TRUE(WaitKeepingMessages(event));
        EXPECT_TRUE(set) << "messages alone do not end the wait";
        other.join();
        // How many are taken before the event is seen is chance; what ends the application's own
        // loop is always there.
        for (message = {};
             message.message != WM_QUIT && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
            left += message.message == WM_APP;
        EXPECT_EQ(message.message, WM_QUIT);
        EXPECT_EQ(message.wParam, static_cast<WPARAM>(round));
        EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    }
    EXPECT_LT(left, rounds * 2) << "none was ever taken";
    CloseHandle(event);
    EXPECT_FALSE(WaitKeepingMessages(nullptr));
}

}  // namespace
}  // namespace Vimbrel::test

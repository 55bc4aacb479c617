// Runs on both systems: what the one does is what the other must do.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <thread>

namespace Vimbrel::test {
namespace {

constexpr UINT number = WM_APP + 1;
constexpr DWORD long_time = 20'000;

// Gives the calling thread its queue.
void MakeQueue() {
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
}

class MessageLoopTest : public testing::Test {
protected:
    MessageLoopTest() { Drain(); }
    ~MessageLoopTest() override {
        Drain();
        CloseHandle(event);
    }

    static void Drain() {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    DWORD Wait(DWORD milliseconds) const {
        return MsgWaitForMultipleObjectsEx(1, &event, milliseconds, QS_ALLINPUT,
                                           MWMO_INPUTAVAILABLE);
    }

    const DWORD self = GetCurrentThreadId();
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

TEST_F(MessageLoopTest, MessagesComeInTheirOrderAndFiltersPassOthersBy) {
    for (WPARAM i = 0; i < 3; ++i)
        ASSERT_TRUE(PostThreadMessageW(self, number + static_cast<UINT>(i % 2), i,
                                       -static_cast<LPARAM>(i)));
    MSG message{};
    ASSERT_TRUE(PeekMessageW(&message, nullptr, number + 1, number + 1, PM_NOREMOVE));
    EXPECT_EQ(message.wParam, 1u);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, number + 2, number + 5, PM_REMOVE));
    ASSERT_TRUE(GetMessageW(&message, nullptr, number + 1, number + 1));
    EXPECT_EQ(message.wParam, 1u);
    for (const WPARAM expected : {0, 2}) {
        ASSERT_TRUE(GetMessageA(&message, nullptr, 0, 0));
        EXPECT_EQ(message.hwnd, nullptr);
        EXPECT_EQ(message.message, number);
        EXPECT_EQ(message.wParam, expected);
        EXPECT_EQ(message.lParam, -static_cast<LPARAM>(expected));
        EXPECT_FALSE(IsWindowUnicode(message.hwnd));
        TranslateMessage(&message);
        EXPECT_EQ(DispatchMessageA(&message), 0);
    }
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
}

TEST_F(MessageLoopTest, QuitComesBehindAllOthersAndOnce) {
    PostQuitMessage(7);
    PostThreadMessageW(self, number, 1, 0);
    MSG message{};
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), 1);
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(message.message, WM_QUIT);
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), 0);
    EXPECT_EQ(message.wParam, 7u);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
}

TEST_F(MessageLoopTest, AWaitEndsForAnEventFirstThenForMessagesEvenOldOnes) {
    EXPECT_EQ(Wait(0), WAIT_TIMEOUT);
    PostThreadMessageW(self, number, 0, 0);
    EXPECT_EQ(Wait(long_time), WAIT_OBJECT_0 + 1);
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    EXPECT_EQ(Wait(long_time), WAIT_OBJECT_0 + 1);
    SetEvent(event);
    EXPECT_EQ(Wait(long_time), WAIT_OBJECT_0);
    ResetEvent(event);
    Drain();
    EXPECT_EQ(Wait(0), WAIT_TIMEOUT);
}

TEST_F(MessageLoopTest, OtherThreadsWakeAWaitingOne) {
    std::thread poster([this] {
        PostThreadMessageW(self, number, 5, 0);
        SetEvent(event);
    });
    MSG message{};
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), 1);
    EXPECT_EQ(message.wParam, 5u);
    EXPECT_EQ(Wait(long_time), WAIT_OBJECT_0);
    poster.join();
}

TEST_F(MessageLoopTest, NothingIsPostedToAThreadWithoutAQueueOrOneThatIsGone) {
    std::atomic<DWORD> other{0};
    const HANDLE go_on = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE done = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::thread thread([&] {
        other = GetCurrentThreadId();
        SetEvent(done);
        WaitForSingleObject(go_on, long_time);
        MakeQueue();
        SetEvent(done);
        WaitForSingleObject(go_on, long_time);
    });
    WaitForSingleObject(done, long_time);
    EXPECT_FALSE(PostThreadMessageW(other, number, 0, 0));
    SetEvent(go_on);
    WaitForSingleObject(done, long_time);
    EXPECT_TRUE(PostThreadMessageW(other, number, 0, 0));
    SetEvent(go_on);
    thread.join();
    EXPECT_FALSE(PostThreadMessageW(other, number, 0, 0));
    CloseHandle(go_on);
    CloseHandle(done);
}

}  // namespace
}  // namespace Vimbrel::test

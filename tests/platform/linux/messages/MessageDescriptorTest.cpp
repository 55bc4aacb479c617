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

int dispatched = 0;

LRESULT CALLBACK Count(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_APP) ++dispatched;
    return DefWindowProcW(window, message, wparam, lparam);
}

TEST(MessageDescriptor, ALoopOfTheApplicationsOwnServesWindows) {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = Count;
    window_class.lpszClassName = L"descriptor test";
    RegisterClassW(&window_class);
    const HWND window = CreateWindowExW(0, L"descriptor test", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE,
                                        nullptr, nullptr, nullptr);
    EXPECT_GT(reinterpret_cast<std::uintptr_t>(window), 0xFFFFFFFFu) << "no X window's number";
    std::thread poster([window] {
        for (int i = 0; i < 100; ++i) PostMessageW(window, WM_APP, 0, 0);
    });
    MSG message;
    while (dispatched < 100 && Readable(20'000)) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
    poster.join();
    EXPECT_EQ(dispatched, 100);
    PostMessageW(window, WM_APP, 0, 0);
    DestroyWindow(window);
    EXPECT_FALSE(Readable(0)) << "a purge empties the queue";
}

}  // namespace
}  // namespace Vimbrel::test

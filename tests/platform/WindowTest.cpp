// Windows that only take messages, on both systems.
#include <gtest/gtest.h>

#include <windows.h>

#include <thread>
#include <vector>

namespace Vimbrel::test {
namespace {

constexpr UINT number = WM_APP + 7;

struct Seen {
    HWND window;
    UINT message;
    WPARAM wparam;
};
thread_local std::vector<Seen> seen;
thread_local LRESULT answer_to_creation = 0;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    seen.push_back({window, message, wparam});
    if (message == WM_CREATE) {
        const auto& creation = *reinterpret_cast<const CREATESTRUCTW*>(lparam);
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(creation.lpCreateParams));
        return answer_to_creation;
    }
    return message == number ? 42 : DefWindowProcW(window, message, wparam, lparam);
}

bool Saw(UINT message) {
    for (const Seen& each : seen) {
        if (each.message == message) return true;
    }
    return false;
}

class WindowTest : public testing::Test {
protected:
    WindowTest() {
        WNDCLASSW window_class{};
        window_class.lpfnWndProc = Procedure;
        window_class.lpszClassName = L"vimbrel window test";
        registered = RegisterClassW(&window_class);
        again = RegisterClassW(&window_class);
        seen.clear();
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    static HWND Create(void* parameter = nullptr) {
        return CreateWindowExW(0, L"Vimbrel Window TEST", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE,
                               nullptr, nullptr, parameter);
    }

    ATOM registered;
    ATOM again;
};

TEST_F(WindowTest, MessagesReachTheProcedureInTheirOrderFromAnyThread) {
    EXPECT_EQ(again, 0);
    int parameter = 0;
    const HWND window = Create(&parameter);
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(Saw(WM_NCCREATE) && Saw(WM_CREATE));
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), reinterpret_cast<LONG_PTR>(&parameter));
    EXPECT_EQ(SetWindowLongPtrW(window, GWLP_USERDATA, 5), reinterpret_cast<LONG_PTR>(&parameter));
    seen.clear();
    std::thread([window] {
        for (WPARAM i = 0; i < 20; ++i) EXPECT_TRUE(PostMessageW(window, number, i, 0));
        EXPECT_FALSE(DestroyWindow(window)) << "only the owner destroys";
    }).join();
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, window, number + 1, number + 1, PM_REMOVE));
    for (WPARAM i = 0; i < 20; ++i) {
        ASSERT_EQ(GetMessageW(&message, nullptr, 0, 0), 1);
        EXPECT_EQ(message.hwnd, window);
        EXPECT_TRUE(IsWindowUnicode(message.hwnd));
        EXPECT_EQ(DispatchMessageW(&message), 42);
        EXPECT_EQ(seen.back().wparam, i);
    }
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), 5);
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_TRUE(Saw(WM_DESTROY) && Saw(WM_NCDESTROY));
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), 0);
}

TEST_F(WindowTest, WhatWaitsForADestroyedWindowIsLostAndNothingMorePosted) {
    const HWND first = Create();
    const HWND second = Create();
    ASSERT_NE(first, second);
    for (const HWND window : {first, second, first}) PostMessageW(window, number, 1, 0);
    EXPECT_TRUE(DestroyWindow(first));
    EXPECT_FALSE(DestroyWindow(first));
    EXPECT_FALSE(PostMessageW(first, number, 0, 0));
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, number, number, PM_REMOVE));
    EXPECT_EQ(message.hwnd, second);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, number, number, PM_REMOVE));
    message = {first, number, 0, 0, 0, {0, 0}};
    EXPECT_EQ(DispatchMessageW(&message), 0);
    DestroyWindow(second);
    answer_to_creation = -1;
    seen.clear();
    EXPECT_EQ(Create(), nullptr);
    EXPECT_TRUE(Saw(WM_NCDESTROY) && !Saw(WM_DESTROY));
    answer_to_creation = 0;
    EXPECT_EQ(CreateWindowExW(0, L"no such class", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              nullptr, nullptr),
              nullptr);
}

TEST_F(WindowTest, AThreadsWindowsEndWithIt) {
    HWND window = nullptr;
    std::thread([&] {
        window = Create();
        EXPECT_TRUE(PostMessageW(window, number, 0, 0));
    }).join();
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(PostMessageW(window, number, 0, 0));
    EXPECT_FALSE(DestroyWindow(window));
}

TEST(RegisteredMessage, IsTheSameForTheSameTextInAnyCase) {
    const UINT one = RegisterWindowMessageW(L"vimbrel one");
    EXPECT_GE(one, 0xC000u);
    EXPECT_EQ(RegisterWindowMessageW(L"Vimbrel ONE"), one);
    EXPECT_NE(RegisterWindowMessageW(L"vimbrel two"), one);
}

}  // namespace
}  // namespace Vimbrel::test

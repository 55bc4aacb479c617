#include "vimbrel/MediaMessageWindow.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

struct Listener final : MediaMessageWindow::Dispatcher {
    LRESULT OnMessage(unsigned int message, WPARAM wParam, LPARAM lParam, bool* handled) override {
        messages.push_back({nullptr, message, wParam, lParam, 0, {0, 0}});
        EXPECT_FALSE(*handled);
        *handled = claims;
        return 7;
    }
    LRESULT OnGraphEvent() override {
        ++graph_events;
        return 9;
    }

    bool claims = false;
    int graph_events = 0;
    std::vector<MSG> messages;
};

// Bounded where a thread posts without end: it may be faster than this loop.
void Pump(int most = std::numeric_limits<int>::max()) {
    MSG message;
    while (most-- > 0 && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

TEST(MediaMessageWindow, BringsBothMessagesFromAnyThreadInOrder) {
    MediaMessageWindow window;
    Listener listener;
    EXPECT_EQ(window.hwnd, nullptr);
    EXPECT_EQ(window.graphMessage, RegisterWindowMessageW(L"AADF1ACF-9550-46FA-A831-98DF73C4A86A"));
    EXPECT_EQ(window.stateMessage, RegisterWindowMessageW(L"63890A38-7BF6-4F4A-A00D-33F38DE7DDCC"));
    window.dispatcher = &listener;
    window.Create(nullptr);
    ASSERT_NE(window.hwnd, nullptr);
    listener.messages.clear();
    std::thread([&] {
        for (WPARAM i = 0; i < 3; ++i) {
            PostMessageW(window.hwnd, window.graphMessage, 0, 0);
            PostMessageW(window.hwnd, window.stateMessage, i, 5);
        }
    }).join();
    EXPECT_EQ(listener.graph_events, 0) << "nothing runs on the posting thread";
    Pump();
    EXPECT_EQ(listener.graph_events, 3);
    ASSERT_EQ(listener.messages.size(), 3u);
    for (WPARAM i = 0; i < 3; ++i) {
        EXPECT_EQ(listener.messages[i].message, window.stateMessage);
        EXPECT_EQ(listener.messages[i].wParam, i);
        EXPECT_EQ(listener.messages[i].lParam, 5);
    }
    EXPECT_EQ(window.OnProc(window.hwnd, window.graphMessage, 0, 0), 9);
    EXPECT_EQ(window.OnProc(window.hwnd, WM_APP, 0, 0), 0) << "unclaimed: the default handling";
    listener.claims = true;
    EXPECT_EQ(window.OnProc(window.hwnd, WM_APP, 0, 0), 7);
    window.dispatcher = nullptr;
    EXPECT_EQ(window.OnProc(window.hwnd, window.graphMessage, 0, 0), 0);
    EXPECT_EQ(listener.graph_events, 4);
}

TEST(MediaMessageWindow, MessagesAfterDestroyAreLost) {
    MediaMessageWindow window;
    Listener listener;
    window.dispatcher = &listener;
    window.Create(nullptr);
    const HWND handle = window.hwnd;
    ASSERT_NE(handle, nullptr);
    PostMessageW(handle, window.stateMessage, 0, 5);
    listener.messages.clear();
    window.Destroy();
    EXPECT_EQ(window.hwnd, nullptr);
    EXPECT_EQ(window.dispatcher, nullptr);
    EXPECT_FALSE(PostMessageW(handle, window.stateMessage, 0, 5));
    Pump();
    window.Destroy();
    ASSERT_FALSE(listener.messages.empty());
    for (const MSG& each : listener.messages) EXPECT_NE(each.message, window.stateMessage);
    EXPECT_EQ(listener.messages.front().message, WM_DESTROY);
}

TEST(MediaMessageWindow, ACopySharesTheFieldsAndTheWindowEndsWithItsMaker) {
    Listener listener;
    auto window = std::make_unique<MediaMessageWindow>();
    window->dispatcher = &listener;
    window->Create(nullptr);
    const HWND handle = window->hwnd;
    {
        const MediaMessageWindow copy(*window);
        EXPECT_EQ(copy.hwnd, handle);
        EXPECT_EQ(copy.dispatcher, &listener);
    }
    EXPECT_TRUE(PostMessageW(handle, window->graphMessage, 0, 0));
    listener.messages.clear();
    window.reset();
    Pump();
    EXPECT_EQ(listener.graph_events + static_cast<int>(listener.messages.size()), 0);
    EXPECT_FALSE(PostMessageW(handle, WM_APP, 0, 0));
}

TEST(MediaMessageWindow, WindowsThatAreLeftBehindReachNoObject) {
    Listener listener;
    MediaMessageWindow window;
    window.dispatcher = &listener;
    window.Create(nullptr);
    const HWND first = window.hwnd;
    window.Create(nullptr);
    const HWND second = window.hwnd;
    ASSERT_NE(first, second);
    std::thread([&] { window.Destroy(); }).join();
    window.dispatcher = &listener;
    listener.messages.clear();
    for (const HWND each : {first, second}) {
        EXPECT_TRUE(PostMessageW(each, WM_APP, 0, 0));
        Pump();
        EXPECT_TRUE(listener.messages.empty()) << (each == first ? "replaced" : "not destroyed");
        DestroyWindow(each);
        listener.messages.clear();
    }
}

// Posting while the window comes and goes: a thread gets nothing for a window that is gone, and
// the sanitizers see every access.
TEST(MediaMessageWindow, OtherThreadsPostWhileItIsCreatedAndDestroyed) {
    const Watchdog watchdog("message window rounds");
    MediaMessageWindow window;
    std::atomic<HWND> handle{nullptr};
    std::atomic<bool> done{false};
    const UINT state = window.stateMessage;
    std::thread poster([&] {
        while (!done) {
            if (const auto target = handle.load()) PostMessageW(target, state, 1, 4);
        }
    });
    for (int round = 0; round < 500; ++round) {
        Listener listener;
        window.dispatcher = &listener;
        window.Create(nullptr);
        ASSERT_NE(window.hwnd, nullptr);
        handle = window.hwnd;
        Pump(20);
        window.Destroy();
    }
    done = true;
    poster.join();
    Pump();
}

}  // namespace
}  // namespace Vimbrel::test

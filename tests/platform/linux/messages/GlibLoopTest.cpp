// An application's GLib loop serves the windows of sources.
#include <gtest/gtest.h>

#include <windows.h>

#include <glib-unix.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/Watchdog.h"
#include "vimbrel/MediaMessageWindow.h"

namespace Vimbrel::test {
namespace {

gboolean Pump(gint, GIOCondition, gpointer) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    return G_SOURCE_CONTINUE;
}

// Notes in which order the messages of each poster arrive, and quits the loop after the last.
struct Receiver final : MediaMessageWindow::Dispatcher {
    explicit Receiver(GMainLoop* ended) : loop(ended) {}
    LRESULT OnMessage(unsigned int message, WPARAM wParam, LPARAM lParam, bool* handled) override {
        if (message < WM_APP) return 0;
        *handled = true;
        if (std::this_thread::get_id() != opener || next[wParam]++ != lParam) ++faults;
        if (++received == expected) g_main_loop_quit(loop);
        return 0;
    }
    LRESULT OnGraphEvent() override {
        ++events;
        return 0;
    }
    GMainLoop* const loop;
    const std::thread::id opener = std::this_thread::get_id();
    LPARAM next[2] = {};
    int expected = 0, received = 0, faults = 0, events = 0;
};

TEST(GlibLoop, ServesAWindowBesidesSourcesOfItsOwn) {
    const Watchdog watchdog("glib loop");
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    Receiver receiver(loop);
    MediaMessageWindow window;
    window.dispatcher = &receiver;
    window.Create(GetModuleHandleW(nullptr));
    ASSERT_NE(window.hwnd, nullptr);
    const guint pump = g_unix_fd_add(VimbrelMessageDescriptor(), G_IO_IN, Pump, nullptr);
    // One of the loop's own sources runs as well: a queue that is always readable would starve it.
    int ticks = 0;
    const guint tick = g_idle_add(
        [](gpointer count) -> gboolean {
            ++*static_cast<int*>(count);
            return G_SOURCE_CONTINUE;
        },
        &ticks);
    constexpr int each = 2000;
    receiver.expected = 2 * each;
    std::vector<std::thread> posters;
    for (WPARAM poster = 0; poster < 2; ++poster) {
        posters.emplace_back([&window, poster] {
            for (LPARAM i = 0; i < each; ++i) PostMessageW(window.hwnd, WM_APP, poster, i);
        });
    }
    PostMessageW(window.hwnd, window.graphMessage, 0, 0);
    g_main_loop_run(loop);
    for (std::thread& poster : posters) poster.join();
    EXPECT_EQ(receiver.faults, 0) << "on the loop's thread, in the order of posting";
    EXPECT_EQ(receiver.events, 1);
    // With nothing to take, the descriptor leaves the loop to its own sources.
    const int before = ticks;
    while (ticks < before + 10) g_main_context_iteration(nullptr, TRUE);
    EXPECT_EQ(receiver.received, 2 * each);
    window.Destroy();
    g_source_remove(tick);
    g_source_remove(pump);
    g_main_loop_unref(loop);
}

}  // namespace
}  // namespace Vimbrel::test

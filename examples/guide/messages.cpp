// Pumps the calling thread's messages from a poll loop until the thread is asked to quit.
#include <winuser.h>

#include <poll.h>

// [pump]
// Takes everything that waits. False when the thread is asked to quit.
bool PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) return false;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return true;
}
// [end]

int main() {
    pollfd waiting{VimbrelMessageDescriptor(), POLLIN, 0};
    PostQuitMessage(0);
    for (int i = 0; i < 100; ++i) {
        if (poll(&waiting, 1, 1000) > 0 && !PumpMessages()) return 0;
    }
    return 1;
}

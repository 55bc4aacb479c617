#include "base/MessageWait.h"

#include <optional>

namespace Vimbrel {

namespace {

constexpr DWORD wake_mask = 0x1CFF;  // every kind of message

// A message that ends the application's loop is taken like any other here; the loop gets another
// one.
class QuitKeeper {
public:
    QuitKeeper() = default;
    ~QuitKeeper() {
        if (exit_code) PostQuitMessage(*exit_code);
    }
    QuitKeeper(const QuitKeeper&) = delete;
    QuitKeeper& operator=(const QuitKeeper&) = delete;

    void Keep(const MSG& message) { exit_code = static_cast<int>(message.wParam); }

private:
    std::optional<int> exit_code;
};

}  // namespace

bool WaitKeepingMessages(HANDLE event) {
    QuitKeeper quit;
    for (;;) {
        const DWORD woken =
            MsgWaitForMultipleObjectsEx(1, &event, INFINITE, wake_mask, MWMO_INPUTAVAILABLE);
        if (woken == WAIT_OBJECT_0) return true;
        if (woken != WAIT_OBJECT_0 + 1) return false;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
            const bool unicode = IsWindowUnicode(message.hwnd) != FALSE;
            const BOOL taken = unicode ? GetMessageW(&message, nullptr, 0, 0)
                                       : GetMessageA(&message, nullptr, 0, 0);
            if (taken == -1) return false;
            if (message.message == WM_QUIT) quit.Keep(message);
            TranslateMessage(&message);
            if (unicode) {
                DispatchMessageW(&message);
            } else {
                DispatchMessageA(&message);
            }
            if (WaitForSingleObject(event, 0) == WAIT_OBJECT_0) return true;
        }
    }
}

}  // namespace Vimbrel

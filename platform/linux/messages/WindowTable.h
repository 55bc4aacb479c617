// The classes and windows of the process.
#pragma once

#include <winuser.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/ThreadSafety.h"

namespace Vimbrel {

class MessageQueue;

// No procedure is called while the table is locked. Any thread.
class WindowTable {
public:
    static WindowTable& Get();
    static constexpr UINT first_registered = 0xC000;  // of the messages by their texts

    // See RegisterWindowMessageW and RegisterClassW.
    UINT RegisterMessage(std::wstring_view text);
    ATOM RegisterClass(std::wstring_view name, WNDPROC procedure);

    // A window of the calling thread; null if there is no such class.
    HWND Add(std::wstring_view class_name);
    // Ends posting to the window and purges its messages. False if it was gone.
    bool Remove(HWND window);
    void RemoveOfThread(DWORD thread);

    bool Has(HWND window);
    // Null unless the calling thread owns the window.
    WNDPROC ProcedureOnOwner(HWND window);
    // Marks a window of the calling thread; false if it was marked before or is not the thread's.
    bool BeginDestroying(HWND window);

    LONG_PTR UserData(HWND window);
    LONG_PTR ExchangeUserData(HWND window, LONG_PTR value);

    bool Post(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

private:
    struct Window {
        WNDPROC procedure;
        DWORD thread;
        std::shared_ptr<MessageQueue> queue;
        LONG_PTR user_data;
        bool destroying;
    };

    Window* Find(HWND window) REQUIRES(lock_);

    // Held while posting, so that nothing is posted after the purge.
    Mutex lock_;
    std::unordered_map<HWND, Window> windows_ GUARDED_BY(lock_);
    std::unordered_map<std::wstring, WNDPROC> classes_ GUARDED_BY(lock_);
    std::vector<std::wstring> messages_ GUARDED_BY(lock_);
    std::uintptr_t last_handle_ GUARDED_BY(lock_) = std::uintptr_t{1} << 32;
};

}  // namespace Vimbrel

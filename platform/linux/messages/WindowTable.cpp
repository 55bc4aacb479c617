#include "platform/linux/messages/WindowTable.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <utility>

#include "platform/linux/messages/MessageQueue.h"

namespace Vimbrel {

namespace {

constexpr UINT last_registered = 0xFFFF;

// Names of classes and messages differ by more than case.
std::wstring Folded(std::wstring_view text) {
    std::wstring folded(text);
    for (wchar_t& each : folded)
        each = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(each)));
    return folded;
}

}  // namespace

WindowTable& WindowTable::Get() {
    // Never destroyed: threads may end after the program's static objects.
    static auto* table = new WindowTable;
    return *table;
}

UINT WindowTable::RegisterMessage(std::wstring_view text) {
    if (text.empty()) return 0;
    const std::wstring folded = Folded(text);
    const MutexLock guard(lock_);
    const auto found = std::find(messages_.begin(), messages_.end(), folded);
    const auto number = first_registered + static_cast<UINT>(found - messages_.begin());
    if (number > last_registered) return 0;
    if (found == messages_.end()) messages_.push_back(folded);
    return number;
}

ATOM WindowTable::RegisterClass(std::wstring_view name, WNDPROC procedure) {
    if (name.empty() || !procedure) return 0;
    const std::wstring folded = Folded(name);
    const MutexLock guard(lock_);
    if (!classes_.emplace(folded, procedure).second) return 0;
    return static_cast<ATOM>(first_registered + classes_.size() - 1);
}

HWND WindowTable::Add(std::wstring_view class_name) {
    if (!MessageQueue::Current()) return nullptr;
    const DWORD thread = GetCurrentThreadId();
    const std::wstring folded = Folded(class_name);
    const MutexLock guard(lock_);
    const auto found = classes_.find(folded);
    if (found == classes_.end()) return nullptr;
    HWND window = reinterpret_cast<HWND>(++last_handle_);
    windows_[window] = {found->second, thread, MessageQueue::OfThread(thread), 0, false};
    return window;
}

bool WindowTable::Remove(HWND window) {
    const MutexLock guard(lock_);
    const Window* const found = Find(window);
    if (!found) return false;
    found->queue->Purge(window);
    windows_.erase(window);
    return true;
}

void WindowTable::RemoveOfThread(DWORD thread) {
    const MutexLock guard(lock_);
    std::erase_if(windows_, [&](const auto& each) { return each.second.thread == thread; });
}

bool WindowTable::Has(HWND window) {
    const MutexLock guard(lock_);
    return Find(window) != nullptr;
}

WNDPROC WindowTable::ProcedureOnOwner(HWND window) {
    const MutexLock guard(lock_);
    const Window* const found = Find(window);
    return found && found->thread == GetCurrentThreadId() ? found->procedure : nullptr;
}

bool WindowTable::BeginDestroying(HWND window) {
    const MutexLock guard(lock_);
    Window* const found = Find(window);
    if (!found || found->destroying || found->thread != GetCurrentThreadId()) return false;
    found->destroying = true;
    return true;
}

LONG_PTR WindowTable::UserData(HWND window) {
    const MutexLock guard(lock_);
    const Window* const found = Find(window);
    return found ? found->user_data : 0;
}

LONG_PTR WindowTable::ExchangeUserData(HWND window, LONG_PTR value) {
    const MutexLock guard(lock_);
    Window* const found = Find(window);
    return found ? std::exchange(found->user_data, value) : 0;
}

bool WindowTable::Post(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    const MutexLock guard(lock_);
    const Window* const found = Find(window);
    return found && found->queue->Post(window, message, wparam, lparam);
}

WindowTable::Window* WindowTable::Find(HWND window) {
    const auto found = windows_.find(window);
    return found == windows_.end() ? nullptr : &found->second;
}

}  // namespace Vimbrel

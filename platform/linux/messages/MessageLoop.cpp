// The published calls on the calling thread's queue.
#include <windows.h>

#include <array>

#include "platform/linux/kernel/Waitable.h"
#include "platform/linux/messages/MessageQueue.h"

using Vimbrel::MessageQueue;
using Vimbrel::Waitable;

extern "C" {

BOOL WINAPI PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove) {
    MessageQueue* const queue = MessageQueue::Current();
    return queue && queue->Find(*message, window, first, last, (remove & PM_REMOVE) != 0);
}

BOOL WINAPI PeekMessageA(MSG* message, HWND window, UINT first, UINT last, UINT remove) {
    return PeekMessageW(message, window, first, last, remove);
}

BOOL WINAPI GetMessageW(MSG* message, HWND window, UINT first, UINT last) {
    MessageQueue* const queue = MessageQueue::Current();
    if (!queue) return -1;
    queue->Get(*message, window, first, last);
    return message->message != WM_QUIT;
}

BOOL WINAPI GetMessageA(MSG* message, HWND window, UINT first, UINT last) {
    return GetMessageW(message, window, first, last);
}

BOOL WINAPI TranslateMessage(const MSG*) { return FALSE; }

BOOL WINAPI PostThreadMessageW(DWORD thread, UINT message, WPARAM wparam, LPARAM lparam) {
    const auto queue = MessageQueue::OfThread(thread);
    return queue && queue->Post(nullptr, message, wparam, lparam);
}

void WINAPI PostQuitMessage(int exit_code) {
    if (MessageQueue* const queue = MessageQueue::Current()) queue->PostQuit(exit_code);
}

DWORD WINAPI MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds,
                                         DWORD wake_mask, DWORD flags) {
    MessageQueue* const queue = MessageQueue::Current();
    if (!queue || count >= MAXIMUM_WAIT_OBJECTS || flags != MWMO_INPUTAVAILABLE) return WAIT_FAILED;
    std::array<Waitable*, MAXIMUM_WAIT_OBJECTS> objects{};
    for (DWORD i = 0; i < count; ++i) objects[i] = Waitable::Of(handles[i]);
    return Vimbrel::WaitForFirst(objects.data(), count,
                                 (wake_mask & QS_POSTMESSAGE) != 0 ? queue->Descriptor() : -1,
                                 milliseconds);
}

int VimbrelMessageDescriptor() {
    const MessageQueue* const queue = MessageQueue::Current();
    return queue ? queue->Descriptor() : -1;
}

}  // extern "C"

#include "platform/linux/messages/MessageQueue.h"

#include <mmsystem.h>
#include <windows.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "platform/linux/messages/WindowTable.h"

namespace Vimbrel {

namespace {

// As much as the published system takes by default.
constexpr std::size_t message_limit = 10'000;
// Room beyond it for registered messages: nobody repeats the library's own, such as the loss of a
// device, when the host's messages fill the queue.
constexpr std::size_t registered_room = 1'000;

// The queues by the ids of their threads.
struct Registry {
    Mutex lock;
    std::unordered_map<DWORD, std::shared_ptr<MessageQueue>> queues GUARDED_BY(lock);
};

Registry& TheRegistry() {
    // Never destroyed: threads may end after the program's static objects.
    static auto* registry = new Registry;
    return *registry;
}

// The thread's own hold on its queue.
class ThreadEntry {
public:
    ThreadEntry() : queue(std::make_shared<MessageQueue>()) {
        if (queue->Descriptor() < 0) {
            queue.reset();
            return;
        }
        Registry& registry = TheRegistry();
        const MutexLock guard(registry.lock);
        registry.queues[thread] = queue;
    }
    ~ThreadEntry() {
        if (!queue) return;
        WindowTable::Get().RemoveOfThread(thread);
        Registry& registry = TheRegistry();
        const MutexLock guard(registry.lock);
        registry.queues.erase(thread);
    }
    ThreadEntry(const ThreadEntry&) = delete;
    ThreadEntry& operator=(const ThreadEntry&) = delete;

    MessageQueue* Queue() const { return queue.get(); }

private:
    const DWORD thread = GetCurrentThreadId();
    std::shared_ptr<MessageQueue> queue;
};

bool Fits(const MSG& message, HWND window, UINT first, UINT last) {
    if (window && message.hwnd != window) return false;
    return (first == 0 && last == 0) || (message.message >= first && message.message <= last);
}

}  // namespace

MessageQueue* MessageQueue::Current() {
    thread_local const ThreadEntry entry;
    return entry.Queue();
}

std::shared_ptr<MessageQueue> MessageQueue::OfThread(DWORD thread) {
    Registry& registry = TheRegistry();
    const MutexLock guard(registry.lock);
    const auto found = registry.queues.find(thread);
    return found == registry.queues.end() ? nullptr : found->second;
}

bool MessageQueue::Post(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    const MutexLock guard(lock);
    const std::size_t room = message >= WindowTable::first_registered ? registered_room : 0;
    if (messages.size() >= message_limit + room) return false;
    messages.push_back({window, message, wparam, lparam, timeGetTime(), {0, 0}});
    UpdateWakeup();
    posted.NotifyOne();
    return true;
}

void MessageQueue::PostQuit(int exit_code) {
    const MutexLock guard(lock);
    quit = true;
    quit_code = exit_code;
    UpdateWakeup();
    posted.NotifyOne();
}

void MessageQueue::Purge(HWND window) {
    const MutexLock guard(lock);
    std::erase_if(messages, [&](const MSG& each) { return each.hwnd == window; });
    UpdateWakeup();
}

bool MessageQueue::Find(MSG& message, HWND window, UINT first, UINT last, bool remove) {
    const MutexLock guard(lock);
    return FindLocked(message, window, first, last, remove);
}

void MessageQueue::Get(MSG& message, HWND window, UINT first, UINT last) {
    // The descriptor would not do for waiting: messages that do not fit keep it readable.
    MutexLock guard(lock);
    while (!FindLocked(message, window, first, last, true)) posted.Wait(guard);
}

bool MessageQueue::FindLocked(MSG& message, HWND window, UINT first, UINT last, bool remove) {
    const auto found = std::find_if(messages.begin(), messages.end(), [&](const MSG& each) {
        return Fits(each, window, first, last);
    });
    if (found != messages.end()) {
        message = *found;
        if (remove) messages.erase(found);
    } else if (quit) {
        message = {nullptr, WM_QUIT, static_cast<WPARAM>(quit_code), 0, timeGetTime(), {0, 0}};
        if (remove) quit = false;
    } else {
        return false;
    }
    UpdateWakeup();
    return true;
}

void MessageQueue::UpdateWakeup() {
    const bool wanted = quit || !messages.empty();
    if (wanted == std::exchange(awake, wanted)) return;
    if (wanted) {
        wakeup.Set();
    } else {
        wakeup.Clear();
    }
}

}  // namespace Vimbrel

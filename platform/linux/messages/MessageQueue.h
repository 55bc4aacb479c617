// The messages posted to one thread.
#pragma once

#include <winuser.h>

#include <deque>
#include <memory>

#include "base/ThreadSafety.h"
#include "platform/linux/kernel/Wakeup.h"

namespace Vimbrel {

// Only the owning thread takes messages; any thread may post.
class MessageQueue {
public:
    // Of the calling thread, made at its first use; null if the process has no descriptor left.
    // Ends with the thread.
    static MessageQueue* Current();
    // Of a thread by its id; null if it has none.
    static std::shared_ptr<MessageQueue> OfThread(DWORD thread);

    // Readable while there is a message.
    int Descriptor() const { return wakeup.Descriptor(); }

    // False if the queue is full, which it is later for registered messages.
    bool Post(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
    void PostQuit(int exit_code);
    // Drops what waits for `window`.
    void Purge(HWND window);

    // The first message that fits; see PeekMessageW.
    bool Find(MSG& message, HWND window, UINT first, UINT last, bool remove);
    // Takes it, and waits until there is one.
    void Get(MSG& message, HWND window, UINT first, UINT last);

private:
    bool FindLocked(MSG& message, HWND window, UINT first, UINT last, bool remove) REQUIRES(lock);
    void UpdateWakeup() REQUIRES(lock);

    Wakeup wakeup;
    Mutex lock;
    Condition posted;
    std::deque<MSG> messages GUARDED_BY(lock);
    bool quit GUARDED_BY(lock) = false;
    int quit_code GUARDED_BY(lock) = 0;
    bool awake GUARDED_BY(lock) = false;  // wakeup is set
};

}  // namespace Vimbrel

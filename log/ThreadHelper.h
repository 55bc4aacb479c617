// An object with a thread of its own.
#pragma once

#include <thread>

namespace HalvorixAppLog {

class ThreadHelper {
public:
    virtual ~ThreadHelper();

protected:
    // The thread's body.
    virtual void Run() = 0;

    // False if the system has no thread to give, or the last one has not been joined.
    bool Launch();
    bool IsLaunched() const { return handle.joinable(); }
    // Waits for the body's end, without limit; at once if there is no thread. A derived class must
    // have called it before its destructor ends, since the body is its own.
    void Join();

private:
    std::thread handle;
};

}  // namespace HalvorixAppLog

// Real-time scheduling of threads that handle sound.
#include <avrt.h>

#include <pthread.h>
#include <sched.h>

#include <new>

namespace {

// Above ordinary threads, below those of a sound server.
constexpr int priority = 5;

struct Task {
    int policy;
    sched_param parameters;
    bool raised;
};

}  // namespace

extern "C" {

HANDLE WINAPI AvSetMmThreadCharacteristicsW(LPCWSTR, DWORD*) {
    auto* const task = new (std::nothrow) Task{};
    if (!task) return nullptr;
    const pthread_t thread = pthread_self();
    if (pthread_getschedparam(thread, &task->policy, &task->parameters) != 0) return task;
    const sched_param raised{priority};
    // A fork of a process must not be real-time as well.
    task->raised = pthread_setschedparam(thread, SCHED_RR | SCHED_RESET_ON_FORK, &raised) == 0;
    return task;
}

BOOL WINAPI AvRevertMmThreadCharacteristics(HANDLE handle) {
    auto* const task = static_cast<Task*>(handle);
    if (!task) return FALSE;
    // Ordinary users may set the flag but not take it back: without it the call would fail, and the
    // thread stay real-time.
    if (task->raised)
        pthread_setschedparam(pthread_self(), task->policy | SCHED_RESET_ON_FORK,
                              &task->parameters);
    delete task;
    return TRUE;
}

}  // extern "C"

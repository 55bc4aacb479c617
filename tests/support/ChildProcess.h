// A program that a test starts, and ends by its process id.
#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

class ChildProcess {
public:
    // Its output goes to `output`. Not running if it cannot be started.
    ChildProcess(const std::vector<std::string>& command, const std::string& output) {
        std::vector<char*> arguments;
        for (const std::string& word : command)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", 0, 0);
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), 01 | 0100 | 02000, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        if (posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~ChildProcess() { Stop(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool IsRunning() {
        if (pid > 0 && waitpid(pid, &status, WNOHANG) == pid) pid = -1;
        return pid > 0;
    }
    // Asked to end, and after five seconds made to.
    void Stop(int signal = SIGTERM) {
        if (!IsRunning()) return;
        kill(pid, signal);
        if (WaitForEnd(std::chrono::seconds(5))) return;
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        pid = -1;
    }
    bool WaitForEnd(std::chrono::seconds patience) {
        return WaitUntil([&] { return !IsRunning(); }, patience);
    }
    pid_t Pid() const { return pid; }

private:
    pid_t pid = -1;
    int status = 0;
};

}  // namespace Vimbrel::test

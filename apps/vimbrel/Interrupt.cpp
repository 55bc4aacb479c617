#include "Interrupt.h"

#include <csignal>

namespace studio {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnSignal(int signal) {
    interrupted = 1;
    std::signal(signal, SIG_DFL);
}

// A terminal that is closed says so more than once.
void OnHangUp(int) { interrupted = 1; }

}  // namespace

void WatchForInterrupt() {
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    // Started by nohup, it is to outlive the terminal.
    if (std::signal(SIGHUP, SIG_IGN) != SIG_IGN) std::signal(SIGHUP, OnHangUp);
    // Nobody reads the progress any more: the files are wanted none the less.
    std::signal(SIGPIPE, SIG_IGN);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace studio

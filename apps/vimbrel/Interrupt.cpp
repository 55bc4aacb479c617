#include "Interrupt.h"

#include <csignal>

namespace studio {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnSignal(int signal) {
    interrupted = 1;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void WatchForInterrupt() {
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace studio

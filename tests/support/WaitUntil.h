// Waiting in a test for what another thread or process brings about.
#pragma once

#include <chrono>
#include <thread>

namespace Vimbrel::test {

// Asks every few milliseconds until `condition` is true. False if `limit` ends first.
template <class Condition>
bool WaitUntil(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(20),
               std::chrono::milliseconds step = std::chrono::milliseconds(5)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(step);
    }
    return true;
}

}  // namespace Vimbrel::test

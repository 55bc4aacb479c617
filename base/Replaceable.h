// The point where a test puts its own in place of something of the system.
#pragma once

#include <utility>

namespace Vimbrel {

// Replaces the process's `Service` until it is destroyed. Replacements end in the reverse order of
// their making, and none begins or ends while another thread uses the service.
template <class Service>
class ScopedReplacement {
public:
    explicit ScopedReplacement(Service& service) : previous_(std::exchange(current_, &service)) {}
    ~ScopedReplacement() { current_ = previous_; }
    ScopedReplacement(const ScopedReplacement&) = delete;
    ScopedReplacement& operator=(const ScopedReplacement&) = delete;

    // The newest replacement; null if there is none.
    static Service* Current() { return current_; }

private:
    inline static Service* current_ = nullptr;

    Service* previous_;
};

}  // namespace Vimbrel

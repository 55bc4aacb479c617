#include "platform/linux/kernel/Wakeup.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Vimbrel {

Wakeup::Wakeup() : descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

Wakeup::~Wakeup() {
    if (descriptor >= 0) close(descriptor);
}

void Wakeup::Set() const {
    // Fails only when the count is full, and the descriptor is readable then as well.
    constexpr std::uint64_t one = 1;
    while (write(descriptor, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

bool Wakeup::Clear() const {
    std::uint64_t count = 0;
    ssize_t size;
    do {
        size = read(descriptor, &count, sizeof count);
    } while (size < 0 && errno == EINTR);
    return size == sizeof count;
}

}  // namespace Vimbrel

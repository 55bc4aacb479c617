// A flag that poll can watch.
#pragma once

namespace Vimbrel {

class Wakeup {
public:
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    // -1 if the process has no descriptor left.
    int Descriptor() const { return descriptor; }

    // Both from any thread.
    void Set() const;
    // False if it was not set.
    bool Clear() const;

private:
    const int descriptor;
};

}  // namespace Vimbrel

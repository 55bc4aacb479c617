// Keys that are pressed while a scene runs.
#pragma once

#include <termios.h>

namespace studio {

// On a terminal it takes keys one by one, unseen, until it is destroyed. Elsewhere there are none.
class Keys {
public:
    Keys();
    ~Keys();
    Keys(const Keys&) = delete;
    Keys& operator=(const Keys&) = delete;

    // The next one, or 0. Does not wait.
    char Pressed();

private:
    bool terminal = false;
    termios before{};
};

}  // namespace studio

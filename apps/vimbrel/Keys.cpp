#include "Keys.h"

#include <poll.h>
#include <unistd.h>

namespace studio {

Keys::Keys() {
    // A job in the background would be stopped by a change of its terminal.
    terminal = isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp() &&
               tcgetattr(STDIN_FILENO, &before) == 0;
    if (!terminal) return;
    termios single = before;
    single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &single);
}

Keys::~Keys() {
    if (terminal) tcsetattr(STDIN_FILENO, TCSANOW, &before);
}

char Keys::Pressed() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char key = 0;
    if (!terminal || poll(&input, 1, 0) != 1 || (input.revents & POLLIN) == 0) return 0;
    return read(STDIN_FILENO, &key, 1) == 1 ? key : 0;
}

}  // namespace studio

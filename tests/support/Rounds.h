// How long a test of many rounds is.
#pragma once

#include <cstdlib>

namespace Vimbrel::test {

// `usual`, or what the environment variable says when the long form is wanted:
//     VIMBREL_ROUNDS=500 camera_device_tests --gtest_filter=*Rounds*
inline int Rounds(int usual) {
    const char* const wanted = std::getenv("VIMBREL_ROUNDS");
    const int count = wanted ? std::atoi(wanted) : 0;
    return count > 0 ? count : usual;
}

}  // namespace Vimbrel::test

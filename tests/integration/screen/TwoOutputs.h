// An X server with two outputs: DUMMY0 of 640x480 at the origin, and to its right DUMMY1 of
// 320x240, the primary one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/support/XServer.h"

namespace Vimbrel::test {

class TwoOutputs {
public:
    TwoOutputs();

    // By the number in the output's name, as a driver does when a cable is pulled and put back: the
    // other output stays where it is.
    void SwitchOff(std::size_t output);
    void SwitchOn(std::size_t output);

    // xrandr with these arguments, which moves the outputs together.
    void Run(const std::string& arguments) const { folder.Run("xrandr " + arguments); }

private:
    struct Place {
        std::uint32_t crtc = 0;
        std::uint32_t output = 0;
        std::uint32_t mode = 0;
        std::int16_t x = 0;
        std::int16_t y = 0;
    };

    const TempFolder folder;
    const XServer server;
    std::vector<Place> places;
};

}  // namespace Vimbrel::test

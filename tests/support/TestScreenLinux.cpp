#include "tests/support/TestScreen.h"
#include "tests/support/XServer.h"

namespace Vimbrel::test {

struct TestScreen::Native {
    XServer server{Xvfb("320x240x24")};
};

TestScreen::TestScreen() : native(std::make_unique<Native>()) {}
TestScreen::~TestScreen() = default;

}  // namespace Vimbrel::test

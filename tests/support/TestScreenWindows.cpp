#include "tests/support/TestScreen.h"

namespace Vimbrel::test {

struct TestScreen::Native {};

TestScreen::TestScreen() = default;
TestScreen::~TestScreen() = default;

}  // namespace Vimbrel::test

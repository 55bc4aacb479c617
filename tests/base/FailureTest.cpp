#include "base/Failure.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/fakes/CapturingLog.h"

namespace Vimbrel::test {
namespace {

TEST(Failure, IsLoggedAtTheCallersLineAndSuccessIsNot) {
    TakeLog();
    EXPECT_EQ(LogIfFailed(S_FALSE, "Thing - Open"), S_FALSE);
    EXPECT_EQ(LogIfFailed(E_FAIL, "Thing - 100% open"), E_FAIL);
    const int line = __LINE__ - 1;
    LogHrIfFailed(E_OUTOFMEMORY, "Failed to open thing", HalvorixAppLog::LOG_LEVEL_WARN);
    const std::vector<LogLine> lines = TakeLog();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].text.ends_with("Thing - 100% open failed - 0x80004005")) << lines[0].text;
    EXPECT_TRUE(lines[0].file.ends_with("tests/base/FailureTest.cpp")) << lines[0].file;
    EXPECT_EQ(lines[0].line, line);
    EXPECT_TRUE(lines[1].text.ends_with("Failed to open thing hr=0x8007000e")) << lines[1].text;
    EXPECT_EQ(lines[1].level, HalvorixAppLog::LOG_LEVEL_WARN);
}

}  // namespace
}  // namespace Vimbrel::test

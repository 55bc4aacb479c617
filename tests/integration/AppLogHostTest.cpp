// A host whose own manager takes the library's lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/CapturingLog.h"
#include "tests/integration/MissingPicture.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel::test {
namespace {

TEST(AppLogHost, TakesTheLibrarysLines) {
    OpenMissingPicture();
    const auto lines = TakeLog();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, HalvorixAppLog::LOG_LEVEL_ERROR);
    EXPECT_THAT(lines[0].text,
                testing::StartsWith("Photo - CreateDecoderFromFilename failed - 0x80070"));
    EXPECT_THAT(lines[0].file, testing::HasSubstr("MediaSourcePicture.cpp"));
    EXPECT_GT(lines[0].line, 0);

    // The host is asked for each line.
    SwitchLog(HalvorixAppLog::LOG_LEVEL_ERROR);
    OpenMissingPicture();
    EXPECT_EQ(TakeLog().size(), 1u);
    SwitchLog(HalvorixAppLog::LOG_LEVEL_FATAL);
    EXPECT_TRUE(TakeLog().empty());
    OpenMissingPicture();
    EXPECT_TRUE(TakeLog().empty());
}

}  // namespace
}  // namespace Vimbrel::test

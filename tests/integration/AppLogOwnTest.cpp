// A program without a manager of its own, linked to a library that defines GetAppLogger: the
// Vimbrel library's own manager takes the lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/integration/MissingPicture.h"
#include "tests/support/TempFolder.h"
#include "vimbrel/AppLog.h"

extern "C" {
#ifdef _WIN32
__declspec(dllimport)
#endif
    extern int decoy_calls;
}

namespace Vimbrel::test {
namespace {

// All that was written below `folder`.
std::string Text(const std::filesystem::path& folder) {
    std::string text;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) text += ReadText(entry.path());
    }
    return text;
}

TEST(AppLogOwn, TakesTheLibrarysLinesOnceStarted) {
    const TempFolder folder;
    HalvorixAppLog::IAppLogManager* const manager = HalvorixAppLog::GetAppLogger();
    ASSERT_NE(manager, nullptr);
    manager->SetPath(HalvorixAppLog::LOGGER_MAIN, folder.path.generic_string().c_str());
    OpenMissingPicture();
    EXPECT_EQ(manager->TotalWriteCount(), 0u);  // nobody but the application starts it

    ASSERT_TRUE(manager->Start());
    manager->SetFileLine(HalvorixAppLog::LOGGER_MAIN, true);
    OpenMissingPicture();
    const std::string text = Text(folder.path);
    EXPECT_NE(text.find("[ERROR] Photo - CreateDecoderFromFilename failed - 0x80070"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(" MediaSourcePicture.cpp:"), std::string::npos) << text;
    EXPECT_TRUE(manager->Stop());
    EXPECT_EQ(decoy_calls, 0);
}

TEST(AppLogOwn, EndsWithTheProcess) {
    const TempFolder folder;
#ifdef _WIN32
    const std::string program = "applog_exit.exe";
#else
    const std::string program = "applog_exit";
#endif
    const std::filesystem::path self =
        std::filesystem::path(testing::internal::GetArgvs()[0]).parent_path();
    EXPECT_EQ(std::system(((self / program).string() + " " + folder.path.string()).c_str()), 0);
    const std::string text = Text(folder.path);
    EXPECT_NE(text.find("[ERROR] logged by main\r\n"), std::string::npos) << text;
#ifdef _WIN32
    // The program's objects are destroyed before the library's.
    EXPECT_NE(text.find("[FATAL] logged at the end\r\n"), std::string::npos) << text;
#else
    EXPECT_EQ(text.find("logged at the end"), std::string::npos) << text;
#endif
}

}  // namespace
}  // namespace Vimbrel::test

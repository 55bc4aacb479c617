// A program without a manager of its own, linked to a library that defines GetAppLogger: the Vimbrel library's own manager
// takes the lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/integration/MissingPicture.h"
#include "vimbrel/AppLog.h"

extern "C" {
#ifdef _WIN32
__declspec(dllimport)
#endif
    extern int decoy_calls;
}

namespace {

// All that was written below `folder`.
std::string Text(const std::filesystem::path& folder) {
    std::ostringstream text;
    if (!std::filesystem::is_directory(folder)) return {};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    }
    return text.str();
}

std::filesystem::path EmptyFolder(const char* name) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / name;
    std::filesystem::remove_all(folder);
    return folder;
}

TEST(AppLogOwn, TakesTheLibrarysLinesOnceStarted) {
    const std::filesystem::path folder = EmptyFolder("vimbrel-applog-own");
    HalvorixAppLog::IAppLogManager* const manager = HalvorixAppLog::GetAppLogger();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager, HalvorixAppLog::GetAppLogger());
    manager->SetPath(HalvorixAppLog::LOGGER_MAIN, folder.generic_string().c_str());
    OpenMissingPicture();
    EXPECT_EQ(manager->TotalWriteCount(), 0u);  // nobody but the application starts it

    ASSERT_TRUE(manager->Start());
    manager->SetFileLine(HalvorixAppLog::LOGGER_MAIN, true);
    OpenMissingPicture();
    const std::string text = Text(folder);
    EXPECT_NE(text.find("[ERROR] Photo - CreateDecoderFromFilename failed - 0x80070"), std::string::npos) << text;
    EXPECT_NE(text.find(" MediaSourcePicture.cpp:"), std::string::npos) << text;
    EXPECT_TRUE(manager->Stop());
    EXPECT_EQ(decoy_calls, 0);
    std::filesystem::remove_all(folder);
}

TEST(AppLogOwn, EndsWithTheProcess) {
    const std::filesystem::path folder = EmptyFolder("vimbrel-applog-exit");
#ifdef _WIN32
    const std::string program = "applog_exit.exe";
#else
    const std::string program = "applog_exit";
#endif
    const std::filesystem::path self = std::filesystem::path(testing::internal::GetArgvs()[0]).parent_path();
    EXPECT_EQ(std::system(((self / program).string() + " " + folder.string()).c_str()), 0);
    const std::string text = Text(folder);
    EXPECT_NE(text.find("[ERROR] logged by main\r\n"), std::string::npos) << text;
#ifdef _WIN32
    // The program's objects are destroyed before the library's.
    EXPECT_NE(text.find("[FATAL] logged at the end\r\n"), std::string::npos) << text;
#else
    EXPECT_EQ(text.find("logged at the end"), std::string::npos) << text;
#endif
    std::filesystem::remove_all(folder);
}

}  // namespace

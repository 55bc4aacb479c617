#include <gmock/gmock.h>

#include <optional>

#include "log/LogPaths.h"
#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class LogFilesTest : public LogFixture {
protected:
    static constexpr std::int64_t hour = 3600;

    bool Log(const std::string& text = "text") {
        return manager.Log(LOGGER_MAIN, LOG_LEVEL_ERROR, text);
    }
    // Makes the current file larger than the smallest limit.
    void LogMegabyte() {
        for (int i = 0; i < 129; ++i) Log(std::string(8100, 'm'));
    }
};

TEST_F(LogFilesTest, NamesByLoggerAndHour) {
    for (const char* name : {"main", "Other"}) {
        const std::int32_t id = manager.CreateLogger(name);
        manager.SetPath(id, folder.generic_string().c_str());
        manager.SetDisplay(id, false);
        manager.Log(id, LOG_LEVEL_ERROR, "text");
    }
    Log();
    SetTime(start - start % hour + hour - 1);
    Log();
    Advance(1);
    Log();
    EXPECT_THAT(Names(), UnorderedElementsAre(ShortName("2025041013"), ShortName("2025041014"),
                                              LongName("main", "2025041013", "000"),
                                              LongName("Other", "2025041013", "000")));
    EXPECT_GE(manager.pid.size(), 6u);
    EXPECT_EQ(manager.processName, "log_tests");
}

TEST_F(LogFilesTest, RollsBySizeAndStartsAgainWithTheDay) {
    manager.SetLimitSize(LOGGER_MAIN, 1);
    LogMegabyte();
    EXPECT_THAT(Names(), ElementsAre(ShortName("2025041013")));
    Log();
    EXPECT_THAT(Names(), UnorderedElementsAre(ShortName("2025041013"),
                                              LongName("Main", "2025041013", "001")));
    // The index stays over a full hour, and so does the long form.
    Advance(hour);
    Log();
    EXPECT_THAT(Names(), testing::Contains(LongName("Main", "2025041014", "001")));
    SetTime(start - start % 86400 + 86400);
    Log();
    EXPECT_THAT(Names(), testing::Contains(ShortName("2025041100")));
}

TEST_F(LogFilesTest, AppendedFilesCountFromTheirRealSize) {
    manager.SetLimitSize(LOGGER_MAIN, 1);
    temporary.Write(ShortName("2025041013"), std::string((1 << 20) + 1, 'o'));
    Log();
    Log();
    EXPECT_THAT(Names(), UnorderedElementsAre(ShortName("2025041013"),
                                              LongName("Main", "2025041013", "001")));
}

TEST_F(LogFilesTest, LimitsWrapAsTheFieldDoes) {
    manager.SetLimitSize(LOGGER_MAIN, 4096);  // a limit of 0 bytes
    Log();
    Log();
    Log();
    EXPECT_EQ(Files().size(), 3u);
    manager.SetLimitSize(LOGGER_MAIN, 0);  // nearly unlimited
    Log();
    EXPECT_EQ(Files().size(), 3u);
}

TEST_F(LogFilesTest, MidnightIsLocal) {
    clock.offset = [](std::int64_t) { return -5 * hour; };
    manager.SetMonthDir(LOGGER_MAIN, true);
    manager.SetLimitSize(LOGGER_MAIN, 1);
    SetTime(1'746'057'600 + 5 * hour - 1);  // the last second of April 2025 there
    LogMegabyte();
    Log();
    Advance(1);
    Log();
    EXPECT_THAT(Names(), UnorderedElementsAre("2025_04/" + ShortName("2025043023"),
                                              "2025_04/" + LongName("Main", "2025043023", "001"),
                                              "2025_05/" + ShortName("2025050100")));
}

TEST_F(LogFilesTest, RepeatedHourOfAutumnGoesToTheSameFile) {
    constexpr std::int64_t change = 1'761'440'400;  // 2025-10-26, 03:00 becomes 02:00
    clock.offset = [](std::int64_t time) { return time < change ? 2 * hour : 1 * hour; };
    SetTime(change - 1);
    Log();
    Advance(1);
    Log();
    EXPECT_THAT(Names(), ElementsAre(ShortName("2025102602")));
}

TEST_F(LogFilesTest, OldFilesGoByAgeOnceThereAreMoreThanSeven) {
    manager.SetReserve(LOGGER_MAIN, 5 * hour);
    for (int i = 0; i < 8; ++i, Advance(hour)) Log();
    Log();  // the ninth: those of more than five hours ago go
    EXPECT_THAT(Names(), ElementsAre(ShortName("2025041016"), ShortName("2025041017"),
                                     ShortName("2025041018"), ShortName("2025041019"),
                                     ShortName("2025041020"), ShortName("2025041021")));
    Log();
    EXPECT_EQ(Files().size(), 6u);
}

TEST_F(LogFilesTest, HistoryCanEmptyItselfEvenOfTheOpenFile) {
    manager.SetReserve(LOGGER_MAIN, 60);
    SetTime(start - start % hour);
    for (int i = 0; i < 8; ++i, Advance(hour)) Log();
    Advance(-600);  // still in the hour of the newest file, which is older than a minute by now
    Log("goes with its file");
#ifdef _WIN32
    // An open file cannot be removed there.
    EXPECT_EQ(Files().size(), 1u);
#else
    EXPECT_THAT(Files(), IsEmpty());
#endif
    Log();
    EXPECT_EQ(Files().size(), 1u);
}

TEST_F(LogFilesTest, FolderAndFileRemovedUnderTheLogger) {
    manager.SetPath(LOGGER_MAIN, (folder / "a/b").generic_string().c_str());
    Log("first");
    std::filesystem::remove_all(folder / "a");
    Log("second");
    std::filesystem::remove(folder / "a/b" / ShortName("2025041013"));
    Log("third");
    const auto files = Files();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_NE(files.begin()->second.find("third"), std::string::npos);
    EXPECT_EQ(files.begin()->second.find("second"), std::string::npos);
}

TEST_F(LogFilesTest, FileThatCannotBeOpenedSwitchesOutputOff) {
    temporary.Write("blocker", std::string());
    std::filesystem::create_directories(folder / "taken" / ShortName("2025041013"));
    std::vector<std::string> paths = {
        (folder / "blocker").generic_string(),        // a file in the way
        (folder / "blocker/below").generic_string(),  // and above
        (folder / "taken").generic_string(),          // a directory where the file should be
    };
#ifdef _WIN32
    paths.push_back((folder / "what?").generic_string());
#else
    paths.push_back("/proc/self");  // takes no new files, not even root's
    paths.push_back("/proc/vimbrel/log");
    paths.push_back((folder / std::string(300, 'l')).generic_string());
#endif
    std::uint64_t count = 0;
    for (const std::string& path : paths) {
        manager.SetPath(LOGGER_MAIN, path.c_str());
        manager.SetOutFile(LOGGER_MAIN, true);
        EXPECT_TRUE(Log());
        EXPECT_EQ(manager.TotalWriteCount(), ++count) << path;  // the failed one counts
        EXPECT_FALSE(manager.loggers[LOGGER_MAIN].outfile) << path;
        EXPECT_TRUE(Log());
        EXPECT_EQ(manager.TotalWriteCount(), count);
    }
    manager.SetPath(LOGGER_MAIN, folder.generic_string().c_str());
    manager.SetOutFile(LOGGER_MAIN, true);
    EXPECT_TRUE(Log("works again"));
    EXPECT_EQ(Files().size(), 2u);  // with the blocker
}

TEST_F(LogFilesTest, LongNamesAreCut) {
    std::tm time{};
    EXPECT_EQ(LogFileName("p", std::string(600, 'n'), time, "000001", 0).size(), 499u);
    // Longer than any file system takes: an open failure like others.
    manager.SetName(LOGGER_MAIN, std::string(600, 'n').c_str());
    EXPECT_TRUE(Log());
    EXPECT_FALSE(manager.loggers[LOGGER_MAIN].outfile);
}

#ifndef _WIN32
TEST_F(LogFilesTest, DiskFull) {
    std::filesystem::create_symlink("/dev/full", folder / ShortName("2025041013"));
    EXPECT_TRUE(Log());
    EXPECT_TRUE(Log());
    EXPECT_TRUE(manager.loggers[LOGGER_MAIN].outfile);  // the program goes on, and room may come
    Advance(hour);
    EXPECT_TRUE(Log("room again"));
    EXPECT_NE(Vimbrel::test::ReadText(folder / ShortName("2025041014")).find("room again"),
              std::string::npos);
}
#endif

}  // namespace
}  // namespace HalvorixAppLog

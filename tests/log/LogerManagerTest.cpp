#include "log/LogerManager.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

class LogerManagerTest : public LogFixture {};

TEST(LogerManager, IsSilentUntilStartedAndAfterAStop) {
    FakeLogClock clock(1'744'290'429);
    TestManager manager(clock);
    for (std::int32_t id = -1; id <= LOGGER_MAX; ++id)
        EXPECT_FALSE(manager.PreCheck(id, LOG_LEVEL_FATAL));
    EXPECT_FALSE(manager.Stop());
    EXPECT_FALSE(manager.Log(LOGGER_MAIN, LOG_LEVEL_FATAL, "dropped"));
    manager.SetOutFile(LOGGER_MAIN, false);
    manager.SetDisplay(LOGGER_MAIN, false);
    ASSERT_TRUE(manager.Start());
    EXPECT_FALSE(manager.Start());
    EXPECT_TRUE(manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_DEBUG));
    EXPECT_FALSE(manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_TRACE));
    EXPECT_TRUE(manager.Log(LOGGER_MAIN, LOG_LEVEL_DEBUG, "text"));
    EXPECT_EQ(manager.TotalWriteCount(), 0u);  // only files count
    EXPECT_TRUE(manager.Stop());
    EXPECT_FALSE(manager.Stop());
    // A stop leaves the loggers disabled, and a new start does not change that.
    ASSERT_TRUE(manager.Start());
    EXPECT_FALSE(manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_FATAL));
    manager.SetEnable(LOGGER_MAIN, true);
    EXPECT_TRUE(manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_FATAL));
    // Destroyed while it runs.
}

#ifndef _WIN32
// The other platform has no such limit to set.
TEST(LogerManager, StartFailsWhereThereIsNoThread) {
    const auto start_without_threads = [] {
        // The limit does not bind root.
        if (geteuid() == 0 && setuid(65534) != 0) std::exit(3);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        dup2(STDERR_FILENO, STDOUT_FILENO);
        TestManager manager;
        const bool started = manager.Start();
        std::fflush(stdout);
        std::_Exit(started || manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_FATAL) ? 1 : 0);
    };
    EXPECT_EXIT(start_without_threads(), testing::ExitedWithCode(0),
                "^AppLog: create AppLog thread error! \r\n$");
}
#endif

TEST(LogerManager, CreatesUpToTwentyLoggers) {
    TestManager manager;
    EXPECT_EQ(manager.CreateLogger(nullptr), LOGGER_INVALID);
    EXPECT_EQ(manager.CreateLogger(" \tMain\r\n"), LOGGER_MAIN);
    for (std::int32_t id = 1; id < LOGGER_MAX; ++id)
        EXPECT_EQ(manager.CreateLogger(("logger " + std::to_string(id)).c_str()), id);
    EXPECT_EQ(manager.CreateLogger("one more"), LOGGER_INVALID);
    EXPECT_EQ(manager.CreateLogger("\xEF\xBB\xBFlogger 19 "), 19);
    EXPECT_EQ(manager.FindLogger("logger 19"), 19);
    EXPECT_EQ(manager.ActiveLoggerCount(), 20u);
    manager.SetEnable(19, false);
    EXPECT_EQ(manager.ActiveLoggerCount(), 19u);
    EXPECT_FALSE(manager.SetLevel(20, 3));
    EXPECT_EQ(manager.FindLogger("main"), LOGGER_INVALID);
    EXPECT_EQ(manager.FindLogger(static_cast<const char*>(nullptr)), LOGGER_INVALID);
}

TEST(LogerManager, SettersRefuseWhatDoesNotFit) {
    TestManager manager;
    const LoggerInfo& logger = manager.loggers[LOGGER_MAIN];
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_FALSE(manager.SetName(LOGGER_MAIN, text));
        EXPECT_FALSE(manager.SetPath(LOGGER_MAIN, text));
    }
    EXPECT_FALSE(manager.SetName(LOGGER_MAIN, std::string(8192, 'n').c_str()));
    EXPECT_FALSE(manager.SetName(1, "not in use"));
    EXPECT_FALSE(manager.SetName(-1, "no id"));
    EXPECT_EQ(logger.name, "Main");
    EXPECT_TRUE(manager.SetName(LOGGER_MAIN, std::string(8191, 'n').c_str()));

    EXPECT_FALSE(
        manager.SetPath(LOGGER_MAIN, std::string(8191, 'p').c_str()));  // too long with its slash
    EXPECT_EQ(logger.path, "./log/");
    for (const auto& [given, kept] :
         {std::pair("a", "a/"), std::pair("a/", "a/"), std::pair("C:\\Logs\\", "C:\\Logs\\"),
          std::pair("C:\\Logs", "C:\\Logs/")}) {
        EXPECT_TRUE(manager.SetPath(LOGGER_MAIN, given));
        EXPECT_EQ(logger.path, kept);
    }
    EXPECT_TRUE(manager.SetReserve(LOGGER_MAIN, -5));
    EXPECT_EQ(logger.reserve, 0);
}

TEST_F(LogerManagerTest, SubmitFiltersCountsAndCuts) {
    EXPECT_FALSE(manager.Log(LOGGER_MAIN, LOG_LEVEL_TRACE, "below"));
    EXPECT_FALSE(manager.Log(1, LOG_LEVEL_FATAL, "not in use"));
    EXPECT_FALSE(manager.Log(-1, LOG_LEVEL_FATAL, "no id"));
    EXPECT_TRUE(manager.Log(LOGGER_MAIN, LOG_LEVEL_DEBUG, "first"));
    manager.SetFileLine(LOGGER_MAIN, true);
    EXPECT_TRUE(manager.Log(LOGGER_MAIN, LOG_LEVEL_WARN, "second", "a/b\\c.cpp", 77));
    EXPECT_TRUE(manager.Log(LOGGER_MAIN, LOG_LEVEL_WARN, "third"));
    manager.SetEnable(LOGGER_MAIN, false);
    EXPECT_FALSE(manager.Log(LOGGER_MAIN, LOG_LEVEL_FATAL, "disabled"));

    const std::string text = Files()[ShortName("2025041013")];
    const std::size_t place = text.find("[DEBUG] first\r\n");
    ASSERT_NE(place, std::string::npos) << text;
    EXPECT_EQ(text.substr(0, 25), "2025-04-10 13:07:09.000 [");
    EXPECT_NE(text.find("[WARN]  second c.cpp:77\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[WARN]  third\r\n"), std::string::npos) << text;
    EXPECT_EQ(manager.TotalWriteCount(), 3u);
    EXPECT_EQ(manager.TotalWriteBytes(), text.size());
    EXPECT_EQ(manager.TotalPushed() + manager.TotalPopped(), 0u);

    // Long text is cut before its line end.
    Advance(3600);
    manager.SetEnable(LOGGER_MAIN, true);
    EXPECT_TRUE(manager.Log(LOGGER_MAIN, LOG_LEVEL_INFO, std::string(9000, 'z'), "file.cpp", 1));
    const std::string cut_text = Files()[ShortName("2025041014")];
    ASSERT_EQ(cut_text.size(), 8191u);
    EXPECT_EQ(cut_text.substr(8180), "zzzzzzzzz\r\n");
}

TEST_F(LogerManagerTest, RecordsAreRecycledUpToALimit) {
    LogRecord* const first = manager.MakeRecord(LOGGER_MAIN, LOG_LEVEL_INFO);
    manager.FreeRecord(first);
    EXPECT_EQ(manager.MakeRecord(LOGGER_MAIN, LOG_LEVEL_INFO), first);
    manager.FreeRecord(first);
    std::vector<LogRecord*> records;
    for (int i = 0; i < 300; ++i)
        records.push_back(manager.MakeRecord(LOGGER_MAIN, LOG_LEVEL_INFO));
    for (LogRecord* record : records)
        manager.FreeRecord(record);  // the leak checker sees to the rest
    EXPECT_EQ(manager.freeRecordsCount, 200u);
}

TEST_F(LogerManagerTest, PreCheckSlowsCallersDownWhileTheQueueIsLong) {
    const struct {
        std::size_t length;
        int least, most;  // milliseconds of sleep in 200 calls
    } cases[] = {{20000, 0, 0},
                 {20199, 0, 0},
                 {24000, 1, 200 * 20},
                 {40000, 200 * 100, 200 * 100},
                 {90000, 200 * 100, 200 * 100}};
    for (const auto& entry : cases) {
        {
            const ScopedLock guard(manager.logLock);
            manager.queue.assign(entry.length, nullptr);
        }
        clock.slept = 0;
        for (int i = 0; i < 200; ++i) EXPECT_TRUE(manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_ERROR));
        EXPECT_GE(clock.slept, entry.least) << entry.length;
        EXPECT_LE(clock.slept, entry.most) << entry.length;
        const ScopedLock guard(manager.logLock);
        manager.queue.clear();
    }
}

// Nothing queues records today; this is what the worker does with one.
TEST_F(LogerManagerTest, WorkerHandlesQueuedRecords) {
    const auto push = [&](std::int32_t type, std::int32_t value, const char* text,
                          int level = LOG_LEVEL_INFO) {
        LogRecord* const record = manager.MakeRecord(LOGGER_MAIN, level);
        record->type = type;
        record->typeValue = value;
        record->contentLength = 0;
        AppendFormat(*record, "%s", text);
        const ScopedLock guard(manager.logLock);
        manager.queue.push_back(record);
    };
    TestManager::WorkerState state;
    state.reloadTime = start;
    push(0, 0, "one\r\n");
    push(0, 0, "below\r\n", LOG_LEVEL_TRACE);
    push(2, 0, "renamed");
    push(0, 0, "two\r\n");
    push(7, 0, "");
    push(0, 0, "counted without a file\r\n", LOG_LEVEL_FATAL);
    EXPECT_TRUE(manager.WorkerRound(state));
    const auto files = Files();
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files.at(ShortName("2025041013")), "one\r\n");
    EXPECT_EQ(files.at(LongName("renamed", "2025041013", "000")), "two\r\n");
    EXPECT_EQ(manager.TotalPopped(), 4u);
    EXPECT_EQ(manager.TotalWriteCount(), 3u);
    manager.running = false;
    EXPECT_FALSE(manager.WorkerRound(state));
    EXPECT_FALSE(manager.IsEnabled(LOGGER_MAIN));
}

}  // namespace
}  // namespace HalvorixAppLog

// A manager with a clock that stands still, and a folder for its files.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "log/LogerManager.h"
#include "tests/support/TempFolder.h"

namespace HalvorixAppLog {

class FakeLogClock final : public LogClock {
public:
    explicit FakeLogClock(std::int64_t seconds = 0) : milliseconds(seconds * 1000) {}

    std::uint64_t FileTime() override {
        return static_cast<std::uint64_t>(milliseconds + 11'644'473'600'000) * 10'000;
    }
    std::tm LocalTime(std::int64_t time) override {
        const std::time_t local = static_cast<std::time_t>(time + offset(time));
        std::tm result{};
        gmtime_r(&local, &result);
        result.tm_isdst = static_cast<int>(offset(time));  // for Midnight: the offset itself
        return result;
    }
    std::int64_t Midnight(const std::tm& day) override {
        const std::chrono::year_month_day date{
            std::chrono::year(day.tm_year + 1900),
            std::chrono::month(static_cast<unsigned>(day.tm_mon + 1)),
            std::chrono::day(static_cast<unsigned>(day.tm_mday))};
        const std::int64_t local = std::chrono::duration_cast<std::chrono::seconds>(
                                       std::chrono::sys_days(date).time_since_epoch())
                                       .count();
        return local - day.tm_isdst;
    }
    void Sleep(int length) override {
        slept = slept + length;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }

    std::atomic<std::int64_t> milliseconds;
    std::function<std::int64_t(std::int64_t)> offset = [](std::int64_t) {
        return 0;
    };  // of local time, at a moment
    std::atomic<int> slept{0};
};

class TestManager : public LogerManager {
public:
    using LogerManager::freeRecordsCount;
    using LogerManager::LogerManager;
    using LogerManager::loggers;
    using LogerManager::logLock;
    using LogerManager::pid;
    using LogerManager::processName;
    using LogerManager::queue;
    using LogerManager::running;
    using LogerManager::WorkerRound;
    using LogerManager::WorkerState;

    bool Log(std::int32_t id, int level, const std::string& text, const char* file = nullptr,
             int line = 0) {
        LogRecord* const record = MakeRecord(id, level);
        LogCursor(*record) << text;
        return Submit(record, file, line);
    }
};

class LogFixture : public testing::Test {
protected:
    static constexpr std::int64_t start = 1'744'290'429;  // 2025-04-10 13:07:09 UTC

    LogFixture() {
        manager.SetDisplay(LOGGER_MAIN, false);
        manager.SetPath(LOGGER_MAIN, folder.generic_string().c_str());
        manager.running = true;  // without the worker, which most tests have no use for
    }
    // Contents by path below the folder.
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file())
                files[entry.path().lexically_relative(folder).generic_string()] =
                    Vimbrel::test::ReadText(entry.path());
        }
        return files;
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& [name, content] : Files()) names.push_back(name);
        return names;
    }
    std::string ShortName(const std::string& hour) const {
        return manager.processName + "_" + hour + "_" + manager.pid + ".log";
    }
    std::string LongName(const std::string& name, const std::string& hour,
                         const std::string& index) const {
        return manager.processName + "_" + name + "_" + hour + "_" + manager.pid + "_" + index +
               ".log";
    }
    void SetTime(std::int64_t seconds) { clock.milliseconds = seconds * 1000; }
    void Advance(std::int64_t seconds) { clock.milliseconds = clock.milliseconds + seconds * 1000; }

    const Vimbrel::test::TempFolder temporary;
    const std::filesystem::path& folder = temporary.path;
    FakeLogClock clock{start};
    TestManager manager{clock};
};

}  // namespace HalvorixAppLog

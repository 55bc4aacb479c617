#include <set>

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

class LogThreadsTest : public LogFixture {};

// Many writers, while files roll by size and by the hour, settings change and the configuration is
// reloaded.
TEST_F(LogThreadsTest, NoRecordIsLostAndNoLineTorn) {
    constexpr int threads = 8;
    constexpr int records = 1500;
    const std::string filler(700, 'f');
    const std::string configuration = (folder / "log.conf").string();
    const auto configure = [&](int i) {
        temporary.Write("log.conf.new", "[main]\nlimitsize=1\ndisplay=0\nname=name" +
                                            std::to_string(i % 5) +
                                            "\npath=" + folder.generic_string());
        // Refused on Windows while the reload reads the file; the next one goes through.
        std::error_code refused;
        std::filesystem::rename(configuration + ".new", configuration, refused);
    };
    manager.running = false;
    configure(0);
    ASSERT_TRUE(manager.Config(configuration.c_str()));
    manager.SetAutoReload(1);
    ASSERT_TRUE(manager.Start());

    std::atomic<int> written{0};
    std::atomic<bool> hour_changed{false};
    constexpr int half = threads * records / 2;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back([&, thread] {
            for (int i = 0; i < records; ++i) {
                while (written > half && !hour_changed) std::this_thread::yield();
                if (!manager.PreCheck(LOGGER_MAIN, LOG_LEVEL_INFO)) continue;
                LogRecord* const record = manager.MakeRecord(LOGGER_MAIN, LOG_LEVEL_INFO);
                LogCursor(*record) << "begin " << thread << ' ' << i << ' ' << filler << " end";
                if (manager.Submit(record, nullptr, 0)) ++written;
            }
        });
    }
    int changes = 0;
    while (written < threads * records * 9 / 10) {
        if (!hour_changed && written > half) {
            Advance(3600);
            hour_changed = true;
        }
        // At the writers' pace, so that the clock does not run through the hours on a slow system.
        if (written < changes * 100) {
            std::this_thread::yield();
            continue;
        }
        configure(++changes);
        Advance(2);
        manager.CreateLogger(("logger " + std::to_string(changes)).c_str());
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_TRUE(manager.Stop());

    std::set<std::string> seen;
    std::uint64_t bytes = 0;
    std::set<std::string> hours;
    for (const auto& [name, content] : Files()) {
        if (!name.ends_with(".log")) continue;
        EXPECT_LT(content.size(), (1u << 20) + 900u) << name;
        hours.insert(name.substr(name.find("_20250410") + 9, 2));
        bytes += content.size();
        std::istringstream lines(content);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t begin = line.find("] [INFO]  begin ");
            const std::size_t end = line.find(" " + filler + " end\r");
            ASSERT_NE(begin, std::string::npos) << line;
            ASSERT_EQ(end + filler.size() + 6, line.size()) << line;
            EXPECT_TRUE(seen.insert(line.substr(begin, end - begin)).second) << line;
        }
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(threads * records));
    EXPECT_EQ(written, threads * records);
    EXPECT_EQ(manager.TotalWriteCount(), static_cast<std::uint64_t>(threads * records));
    EXPECT_EQ(manager.TotalWriteBytes(), bytes);
    EXPECT_EQ(hours.size(), 2u);
}

}  // namespace
}  // namespace HalvorixAppLog

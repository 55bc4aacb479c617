// Standard output as a terminal. The other platform's consoles have no such thing as a terminal's
// other end.
#include "log/Console.h"

#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

// Standard output is a terminal while this lives.
class Terminal {
public:
    Terminal() {
        termios mode{};
        cfmakeraw(&mode);
        int slave = -1;
        openpty(&master, &slave, nullptr, &mode, nullptr);
        std::fflush(stdout);
        saved = dup(STDOUT_FILENO);
        dup2(slave, STDOUT_FILENO);
        close(slave);
    }
    ~Terminal() {
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        close(master);
    }
    std::string Take() {
        std::fflush(stdout);
        // A mark of its own, since a terminal does not tell that nothing more comes.
        const std::string mark = "<mark>";
        if (write(STDOUT_FILENO, mark.data(), mark.size()) < 0) return "cannot write";
        std::string text;
        char block[4096];
        while (!text.ends_with(mark)) {
            const ssize_t length = read(master, block, sizeof block);
            if (length <= 0) return "cannot read";
            text.append(block, static_cast<std::size_t>(length));
        }
        return text.substr(0, text.size() - mark.size());
    }

private:
    int master = -1;
    int saved = -1;
};

TEST(Console, ColoursByLevel) {
    LockHelper lock;
    const std::string plain = "x\r\n";
    const auto coloured = [&](const char* color) {
        return "\x1b[0;" + std::string(color) + "m" + plain + "\x1b[0m";
    };
    const std::string expected[] = {plain,          plain,          coloured("36"), coloured("33"),
                                    coloured("31"), coloured("32"), coloured("35"), plain};
    Terminal terminal;
    for (int level = 0; level <= 7; ++level) {
        PrintColoured(lock, level, plain);
        EXPECT_EQ(terminal.Take(), expected[level]) << level;
    }
}

TEST(Console, LevelsWithAColourPrintNothingElsewhere) {
    LockHelper lock;
    testing::internal::CaptureStdout();
    for (int level = 0; level <= 7; ++level) PrintColoured(lock, level, std::to_string(level));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "017");
}

TEST(Console, TheManagersOwnMessages) {
    const auto coloured = [](const std::string& text) { return "\x1b[0;35m" + text + "\x1b[0m"; };
    Terminal terminal;
    {
        TestManager manager;
        ASSERT_TRUE(manager.Start());
        EXPECT_FALSE(manager.Start());
        EXPECT_EQ(terminal.Take(), coloured("AppLog already start \r\n"));
        for (std::int32_t id = 1; id <= LOGGER_MAX; ++id)
            manager.CreateLogger(std::to_string(id).c_str());
        EXPECT_EQ(terminal.Take(), coloured("AppLog: CreateLogger can not create|writeover, "
                                            "because loggerid need < LOGGER_MAX! \r\n"));
        manager.SetDisplay(LOGGER_MAIN, false);
        manager.SetPath(LOGGER_MAIN, "/proc/self");
        manager.Log(LOGGER_MAIN, LOG_LEVEL_ERROR, "text");
        const std::string printed = terminal.Take();
        const std::string bar = coloured("!!!!!!!!!!!!!!!!!!!!!!!!!! \r\n");
        EXPECT_TRUE(printed.starts_with(
            bar + "\x1b[0;35mAppLog: can not open log file /proc/self/log_tests_"))
            << printed;
        EXPECT_TRUE(printed.ends_with(".log. \r\n\x1b[0m" + bar)) << printed;
        manager.SetDisplay(LOGGER_MAIN, true);
        manager.Log(LOGGER_MAIN, LOG_LEVEL_ERROR, "text");
        const std::string line = terminal.Take();
        EXPECT_TRUE(line.starts_with("\x1b[0;31m20") && line.ends_with("[ERROR] text\r\n\x1b[0m"))
            << line;
    }
    EXPECT_EQ(terminal.Take(), coloured("AppLog stopping \r\n"));
}

}  // namespace
}  // namespace HalvorixAppLog

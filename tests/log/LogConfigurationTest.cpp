#include "log/LogConfiguration.h"

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

std::string Print(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    std::string printed = testing::internal::GetCapturedStdout();
    std::erase(printed, '\r');  // of which some systems add one to each line
    return printed;
}

// What parsing `text` prints.
std::string Parse(LogConfiguration& configuration, std::string_view text) {
    return Print([&] { EXPECT_TRUE(configuration.Parse(text)); });
}

TEST(LogConfiguration, SectionHeads) {
    const std::pair<std::string, std::string> cases[] = {
        {"[MAIN]", "Main"}, {"\xEF\xBB\xBF[ a b ]", "a b"},
        {"[[x", "x"},       {" [x] = ignored", "x"},
        {"[x#y]", "x#y"},   {"[]", ""},
    };
    for (const auto& [head, key] : cases) {
        LogConfiguration configuration;
        EXPECT_EQ(Parse(configuration, head), "") << head;
        ASSERT_EQ(configuration.Loggers().size(), 1u) << head;
        const auto& [section, logger] = *configuration.Loggers().begin();
        EXPECT_EQ(section, key);
        EXPECT_EQ(logger.key, key);
        EXPECT_EQ(logger.name, key);
        EXPECT_TRUE(logger.enable);
    }
}

TEST(LogConfiguration, Settings) {
    // The section's settings after one line, as one text.
    const auto settings = [](const std::string& line) {
        LogConfiguration configuration;
        EXPECT_EQ(Parse(configuration, "[s]\n" + line), "") << line;
        const LoggerInfo& s = configuration.Loggers().at("s");
        std::ostringstream text;
        text << s.name << ' ' << s.path << ' ' << s.level << s.display << s.outfile << s.monthdir
             << ' ' << s.limitsize << ' ' << s.fileline << s.enable << ' ' << s.reserve;
        return text.str();
    };
    const std::pair<std::string, std::string> cases[] = {
        {"", "s ./log/ 1110 10 01 0"},
        {"# level = error", "s ./log/ 1110 10 01 0"},
        {" \t= level", "s ./log/ 1110 10 01 0"},
        {"LEVEL = WARNING", "s ./log/ 3110 10 01 0"},
        {"level=all", "s ./log/ 0110 10 01 0"},
        {"level=trace\rlevel=loud", "s ./log/ 0110 10 01 0"},
        {"level=alarm", "s ./log/ 5110 10 01 0"},
        {"level=fatal # not a comment", "s ./log/ 1110 10 01 0"},
        {"path=C:\\Logs", "s C:\\Logs 1110 10 01 0"},
        {"path = a=b # c ", "s a=b # c 1110 10 01 0"},
        {"Name =\tMixed Case\t", "Mixed Case ./log/ 1110 10 01 0"},
        {"display = FALSE", "s ./log/ 1010 10 01 0"},
        {"display=0\r\ndisplay", "s ./log/ 1110 10 01 0"},
        {"outfile=00", "s ./log/ 1110 10 01 0"},
        {"monthdir", "s ./log/ 1111 10 01 0"},
        {"limitsize=abc", "s ./log/ 1110 0 01 0"},
        {"limitsize=20MB", "s ./log/ 1110 20 01 0"},
        {"limitsize=-1", "s ./log/ 1110 4294967295 01 0"},
        {"fileline=yes", "s ./log/ 1110 10 11 0"},
        {"enable=false", "s ./log/ 1110 10 00 0"},
        {"reserve=3600", "s ./log/ 1110 10 01 3600"},
    };
    for (const auto& [line, result] : cases) EXPECT_EQ(settings(line), result) << line;
}

TEST(LogConfiguration, Warnings) {
    LogConfiguration configuration;
    EXPECT_EQ(
        Parse(configuration, "Level = WARN\r\n[a]\r\n[b]\n[ A ]\n[a]\nlevel=error"),
        "AppLog configure warning: not found current logger name:[] at line:1, key=Level, "
        "value=WARN \n"
        "AppLog configure warning: duplicate logger key:[a] at line: 7 \n");  // CR and LF count a
                                                                              // line each
    EXPECT_EQ(configuration.Loggers().size(), 3u);
    EXPECT_EQ(configuration.Loggers().at("a").level, LOG_LEVEL_ERROR);
}

class LogConfigurationLoading : public LogFixture {
protected:
    const std::string file = (folder / "log.conf").string();
    const LoggerInfo& logger = manager.loggers[LOGGER_MAIN];
};

TEST_F(LogConfigurationLoading, FirstLoadMakesLoggers) {
    EXPECT_FALSE(manager.ConfigFromText(nullptr));
    EXPECT_TRUE(manager.ConfigFromText(""));
    EXPECT_TRUE(manager.ConfigFromText(
        "[MAIN]\nlevel=error\nname=\npath=\nreserve=5\n[other]\nlimitsize=0"));
    EXPECT_EQ(logger.level, LOG_LEVEL_ERROR);
    EXPECT_EQ(logger.name, "Main");  // empty texts are refused
    EXPECT_EQ(logger.reserve, 0);    // never applied
    EXPECT_EQ(manager.FindLogger("other"), 1);
    EXPECT_EQ(manager.loggers[1].limitsize, 0xFFFFFFFFu);
    manager.SetLevel(LOGGER_MAIN, 0);
    EXPECT_TRUE(manager.ConfigFromText("[main]\ndisplay=0"));
    EXPECT_EQ(logger.level, LOG_LEVEL_DEBUG);  // what a section does not mention comes back
    EXPECT_FALSE(logger.display);
}

TEST_F(LogConfigurationLoading, TextOfTheSameSumIsNotSeen) {
    EXPECT_TRUE(manager.ConfigFromText("[main]\nlevel=fatal\n#ab"));
    manager.SetLevel(LOGGER_MAIN, 0);
    EXPECT_TRUE(manager.ConfigFromText("[main]\nlevel=fatal\n#ba"));
    EXPECT_EQ(logger.level, LOG_LEVEL_TRACE);
}

TEST_F(LogConfigurationLoading, MoreSectionsThanLoggers) {
    std::string text;
    for (int i = 10; i < 35; ++i) text += "[s" + std::to_string(i) + "]\nlevel=fatal\n";
    EXPECT_TRUE(manager.ConfigFromText(text.c_str()));
    EXPECT_EQ(manager.FindLogger("s28"), 19);
    EXPECT_EQ(manager.loggers[19].level, LOG_LEVEL_FATAL);
    EXPECT_EQ(manager.FindLogger("s29"), LOGGER_INVALID);
}

TEST_F(LogConfigurationLoading, FileAsPeopleWriteIt) {
    // Of several blocks, with a zero in it.
    const char text[] =
        "\xEF\xBB\xBF[Main]\r\n  Level =\tError \r\n[ two ]\r\nlevel=fatal\0level=info\n[three]";
    temporary.Write("log.conf", std::string(text, 8) + std::string(1000, '\n') +
                                    std::string(text + 8, sizeof text - 9));
    EXPECT_TRUE(manager.Config(file.c_str()));
    EXPECT_EQ(logger.level, LOG_LEVEL_ERROR);
    EXPECT_EQ(manager.loggers[1].level, LOG_LEVEL_FATAL);
    EXPECT_EQ(manager.FindLogger("three"), LOGGER_INVALID);  // after the zero
}

TEST_F(LogConfigurationLoading, Messages) {
    const std::string bar = " !!! !!! !!! !!!\n";
    EXPECT_FALSE(manager.ReloadConfig());
    EXPECT_FALSE(manager.Config(nullptr));
    EXPECT_EQ(
        Print([&] { EXPECT_FALSE(manager.Config(file.c_str())); }),
        bar + " !!! !!! AppLog load config file error. filename=" + file + "  !!! !!! \n" + bar);
    // A directory opens, and cannot be read.
    TestManager another(clock);
    const std::string directory = folder.generic_string();
    EXPECT_EQ(Print([&] { EXPECT_FALSE(another.Config(directory.c_str())); }),
              bar + " !!! !!! AppLog load config file error. filename=" + directory +
                  "  !!! !!! \n" + bar);
    // The first name stays, though it failed.
    EXPECT_EQ(
        Print([&] { EXPECT_FALSE(manager.Config("other")); }),
        bar + " !!! !!! AppLog configure error: too many calls to Config. the old config file=" +
            file + ",  the new config file=other !!! !!! \n" + bar);
    temporary.Write("log.conf", "[main]\nlevel=alarm");
    EXPECT_EQ(Print([&] { EXPECT_TRUE(manager.ReloadConfig()); }), "");
    EXPECT_EQ(logger.level, LOG_LEVEL_ALARM);
}

TEST_F(LogConfigurationLoading, TimedReload) {
    temporary.Write("log.conf", "[main]\nlevel=error");
    ASSERT_TRUE(manager.Config(file.c_str()));
    temporary.Write("log.conf", "[main]\nlevel=fatal\n[new]");
    TestManager::WorkerState state;
    state.reloadTime = start;
    const auto level_after = [&](int seconds) {
        Advance(seconds);
        EXPECT_TRUE(manager.WorkerRound(state));
        return static_cast<int>(logger.level);
    };
    EXPECT_EQ(level_after(1000), LOG_LEVEL_ERROR) << "no interval set";
    SetTime(start);
    manager.SetAutoReload(10);
    EXPECT_EQ(level_after(10), LOG_LEVEL_ERROR) << "more than the interval has to pass";
    EXPECT_EQ(level_after(1), LOG_LEVEL_FATAL);
    EXPECT_EQ(manager.FindLogger("new"), LOGGER_INVALID);  // a reload makes no loggers
    temporary.Write("log.conf", "[main]\nlevel=info");
    EXPECT_EQ(level_after(10), LOG_LEVEL_FATAL) << "counted from the last reload";
    EXPECT_EQ(level_after(1), LOG_LEVEL_INFO);
}

}  // namespace
}  // namespace HalvorixAppLog

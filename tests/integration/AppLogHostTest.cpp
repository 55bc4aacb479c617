// A host whose own manager takes the library's lines.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/integration/MissingPicture.h"
#include "vimbrel/AppLog.h"

namespace {

using namespace HalvorixAppLog;

class HostManager final : public IAppLogManager {
public:
    bool Config(const char*) override { return false; }
    bool ConfigFromText(const char*) override { return false; }
    std::int32_t CreateLogger(const char*) override { return LOGGER_INVALID; }
    bool Start() override { return false; }
    bool Stop() override { return false; }
    std::int32_t FindLogger(const char*) override { return LOGGER_INVALID; }
    bool PreCheck(std::int32_t id, int level) override { return id == LOGGER_MAIN && level >= lowest; }
    bool Submit(LogRecord* record, const char* file, int line) override {
        lines.push_back(std::to_string(record->level) + " " +
                        std::string(record->content, static_cast<std::size_t>(record->contentLength)));
        place = file ? file : "";
        EXPECT_GT(line, 0);
        FreeRecord(record);
        return true;
    }
    bool SetEnable(std::int32_t, bool) override { return false; }
    bool SetName(std::int32_t, const char*) override { return false; }
    bool SetPath(std::int32_t, const char*) override { return false; }
    bool SetLevel(std::int32_t, int) override { return false; }
    bool SetFileLine(std::int32_t, bool) override { return false; }
    bool SetDisplay(std::int32_t, bool) override { return false; }
    bool SetOutFile(std::int32_t, bool) override { return false; }
    bool SetLimitSize(std::int32_t, unsigned int) override { return false; }
    bool SetMonthDir(std::int32_t, bool) override { return false; }
    bool SetReserve(std::int32_t, int) override { return false; }
    bool SetAutoReload(int) override { return false; }
    bool ReloadConfig() override { return false; }
    bool IsEnabled(std::int32_t) override { return true; }
    std::uint64_t TotalWriteCount() override { return 0; }
    std::uint64_t TotalWriteBytes() override { return 0; }
    std::uint64_t TotalPushed() override { return 0; }
    std::uint64_t TotalPopped() override { return 0; }
    std::uint32_t ActiveLoggerCount() override { return 1; }
    LogRecord* MakeRecord(std::int32_t id, int level) override {
        auto record = std::make_unique<LogRecord>();
        record->id = id;
        record->level = level;
        return record.release();
    }
    void FreeRecord(LogRecord* record) override { delete record; }

    int lowest = LOG_LEVEL_DEBUG;
    std::vector<std::string> lines;
    std::string place;
};

HostManager first_manager;
HostManager second_manager;
HostManager* current_manager = &first_manager;

TEST(AppLogHost, TakesTheLibrarysLines) {
    EXPECT_EQ(HalvorixAppLog::GetAppLogger(), &first_manager);
    OpenMissingPicture();
    ASSERT_EQ(first_manager.lines.size(), 1u);
    EXPECT_EQ(first_manager.lines[0].substr(0, 52), "4 Photo - CreateDecoderFromFilename failed - 0x80070") << first_manager.lines[0];
    EXPECT_NE(first_manager.place.find("MediaSourcePicture.cpp"), std::string::npos);

    // The host is asked for each line.
    current_manager = &second_manager;
    OpenMissingPicture();
    EXPECT_EQ(first_manager.lines.size(), 1u);
    EXPECT_EQ(second_manager.lines.size(), 1u);

    second_manager.lowest = LOG_LEVEL_FATAL;
    OpenMissingPicture();
    EXPECT_EQ(second_manager.lines.size(), 1u);
}

}  // namespace

extern "C" HOST_EXPORT HalvorixAppLog::IAppLogManager* GetAppLogger() { return current_manager; }

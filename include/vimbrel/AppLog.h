// The log that an application and the library share.
//
// Every log site asks GetAppLogger for the manager afresh. A host program that exports the C symbol
// "GetAppLogger" from its executable (link it with exported symbols) gives the library its own
// manager; otherwise the library has one, which stays silent until the application starts it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vimbrel/Export.h"

namespace HalvorixAppLog {

inline constexpr std::int32_t LOGGER_MAX = 20;  // logger ids run from 0 to 19
inline constexpr std::int32_t LOGGER_INVALID = -1;
inline constexpr std::int32_t LOGGER_MAIN = 0;           // where the library logs
inline constexpr std::int32_t LOG_TEXT_CAPACITY = 8192;  // bytes of text in a record

enum LogLevel : std::int32_t {
    LOG_LEVEL_TRACE = 0,
    LOG_LEVEL_DEBUG = 1,
    LOG_LEVEL_INFO = 2,
    LOG_LEVEL_WARN = 3,
    LOG_LEVEL_ERROR = 4,
    LOG_LEVEL_ALARM = 5,
    LOG_LEVEL_FATAL = 6,
};

struct LogRecord {
    std::int32_t id;         // logger
    std::int32_t type;       // 0 for a plain record, 1 to 10 for a change of a setting
    std::int32_t typeValue;  // the number of such a change
    std::int32_t level;
    std::int64_t time;                    // seconds since 1970-01-01 UTC
    std::uint32_t precise;                // milliseconds within the second
    std::uint32_t threadId;               // of the logging thread
    std::int32_t contentLength;           // bytes of text so far, in UTF-8
    char content[LOG_TEXT_CAPACITY + 3];  // 3 bytes more for the line's end and a zero
};

// Any thread may call PreCheck, MakeRecord, Submit and FreeRecord. Setters take effect at once and
// return false for an id that is not in use. Texts are UTF-8 and copied.
class IAppLogManager {
public:
    virtual ~IAppLogManager() = default;

    // Loads a configuration file, once in the manager's life; it becomes the file of ReloadConfig.
    virtual bool Config(const char* path) = 0;
    virtual bool ConfigFromText(const char* text) = 0;
    // The id of the logger of that key, made if there is none; LOGGER_INVALID when all ids are
    // taken.
    virtual std::int32_t CreateLogger(const char* key) = 0;
    virtual bool Start() = 0;
    virtual bool Stop() = 0;
    // LOGGER_INVALID if there is none.
    virtual std::int32_t FindLogger(const char* key) = 0;
    // Whether a record of that level would be written. May sleep while the queue is long.
    virtual bool PreCheck(std::int32_t id, int level) = 0;
    // Takes the record over. `file` and `line` are the place of the log site; `file` may be null.
    virtual bool Submit(LogRecord* record, const char* file, int line) = 0;
    virtual bool SetEnable(std::int32_t id, bool on) = 0;
    virtual bool SetName(std::int32_t id, const char* name) = 0;
    virtual bool SetPath(std::int32_t id, const char* path) = 0;
    virtual bool SetLevel(std::int32_t id, int level) = 0;
    virtual bool SetFileLine(std::int32_t id, bool on) = 0;
    virtual bool SetDisplay(std::int32_t id, bool on) = 0;
    virtual bool SetOutFile(std::int32_t id, bool on) = 0;
    // In units of 1,048,576 bytes; 0 means no limit.
    virtual bool SetLimitSize(std::int32_t id, unsigned int size) = 0;
    virtual bool SetMonthDir(std::int32_t id, bool on) = 0;
    // Seconds after which old files may be deleted; 0 keeps all.
    virtual bool SetReserve(std::int32_t id, int seconds) = 0;
    // 0 never.
    virtual bool SetAutoReload(int seconds) = 0;
    virtual bool ReloadConfig() = 0;
    virtual bool IsEnabled(std::int32_t id) = 0;
    virtual std::uint64_t TotalWriteCount() = 0;
    virtual std::uint64_t TotalWriteBytes() = 0;
    virtual std::uint64_t TotalPushed() = 0;
    virtual std::uint64_t TotalPopped() = 0;
    virtual std::uint32_t ActiveLoggerCount() = 0;
    // A record that holds the line's prefix. It goes back by Submit or by FreeRecord. Not null.
    virtual LogRecord* MakeRecord(std::int32_t id, int level) = 0;
    virtual void FreeRecord(LogRecord* record) = 0;
};

// The host's manager if its executable exports "GetAppLogger", else the library's own. Never null
// if the host's is not.
VIMBREL_API IAppLogManager* GetAppLogger();

// Appends text to a record, in pieces. Each piece is cut at the end of the capacity and never
// fails. The record's length is brought up to date by the destructor.
class VIMBREL_API LogCursor {
public:
    explicit LogCursor(LogRecord& target);
    ~LogCursor();
    LogCursor(const LogCursor&) = delete;
    LogCursor& operator=(const LogCursor&) = delete;

    void Write(char character);
    void Write(std::string_view text);
    void Write(std::wstring_view text);  // becomes UTF-8, bad input replaced
    // Nothing at all if 64 bytes or fewer are free. Padded with zeros on the left up to `width`.
    void WriteUnsigned(std::uint64_t number, int width = 0);
    void WriteSigned(std::int64_t number);

    LogCursor& operator<<(char character) { return Write(character), *this; }
    // A null text is an empty one.
    LogCursor& operator<<(const char* text) {
        return Write(text ? std::string_view(text) : std::string_view()), *this;
    }
    LogCursor& operator<<(std::string_view text) { return Write(text), *this; }
    LogCursor& operator<<(const wchar_t* text) {
        return Write(text ? std::wstring_view(text) : std::wstring_view()), *this;
    }
    LogCursor& operator<<(std::wstring_view text) { return Write(text), *this; }
    LogCursor& operator<<(int number) { return WriteSigned(number), *this; }
    LogCursor& operator<<(long number) { return WriteSigned(number), *this; }
    LogCursor& operator<<(long long number) { return WriteSigned(number), *this; }
    LogCursor& operator<<(unsigned number) { return WriteUnsigned(number), *this; }
    LogCursor& operator<<(unsigned long number) { return WriteUnsigned(number), *this; }
    LogCursor& operator<<(unsigned long long number) { return WriteUnsigned(number), *this; }

private:
    std::size_t Free() const { return static_cast<std::size_t>(end - position); }

    LogRecord& record;
    char* position;
    char* end;
};

// Appends a printf text to the record, cut at the capacity.
[[gnu::format(printf, 2, 3)]] VIMBREL_API void AppendFormat(LogRecord& record, const char* format,
                                                            ...);

}  // namespace HalvorixAppLog

// Log sites. The arguments after `level` are evaluated only if the record would be written.
//   APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_ERROR, "open of %s failed - 0x%08X", name, code);
//   APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "took " << count << " frames of " << name);
#define APPLOG_FORMAT(level, ...)                                                               \
    do {                                                                                        \
        if (::HalvorixAppLog::GetAppLogger()->PreCheck(::HalvorixAppLog::LOGGER_MAIN, level)) { \
            ::HalvorixAppLog::LogRecord* applog_record =                                        \
                ::HalvorixAppLog::GetAppLogger()->MakeRecord(::HalvorixAppLog::LOGGER_MAIN,     \
                                                             level);                            \
            ::HalvorixAppLog::AppendFormat(*applog_record, __VA_ARGS__);                        \
            ::HalvorixAppLog::GetAppLogger()->Submit(applog_record, __FILE__, __LINE__);        \
        }                                                                                       \
    } while (false)

#define APPLOG_STREAM(level, pieces)                                                            \
    do {                                                                                        \
        if (::HalvorixAppLog::GetAppLogger()->PreCheck(::HalvorixAppLog::LOGGER_MAIN, level)) { \
            ::HalvorixAppLog::LogRecord* applog_record =                                        \
                ::HalvorixAppLog::GetAppLogger()->MakeRecord(::HalvorixAppLog::LOGGER_MAIN,     \
                                                             level);                            \
            ::HalvorixAppLog::LogCursor(*applog_record) << pieces;                              \
            ::HalvorixAppLog::GetAppLogger()->Submit(applog_record, __FILE__, __LINE__);        \
        }                                                                                       \
    } while (false)

// Texts for the debugger, taken where it would: at the exception by which the system hands them on.
#include <windows.h>

#include "com/Utf8.h"
#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

std::wstring taken;

LONG CALLBACK Take(EXCEPTION_POINTERS* pointers) {
    // Where the system has no wide form of it, as Wine, the text arrives in the system's narrow
    // characters.
    constexpr DWORD narrow_text = 0x40010006;
    constexpr DWORD wide_text = 0x4001000A;
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    const int length = static_cast<int>(record.ExceptionInformation[0]) - 1;
    if (record.ExceptionCode == wide_text) {
        taken.assign(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]),
                     static_cast<std::size_t>(length));
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    if (record.ExceptionCode == narrow_text) {
        wchar_t wide[256];
        const char* const narrow = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        taken.assign(wide, static_cast<std::size_t>(
                               MultiByteToWideChar(CP_ACP, 0, narrow, length, wide, 256)));
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

class DebuggerTest : public LogFixture {};

TEST_F(DebuggerTest, GetsEveryRecordAsUtf16) {
    manager.SetOutFile(LOGGER_MAIN, false);
    void* const handler = AddVectoredExceptionHandler(1, Take);
    manager.Log(LOGGER_MAIN, LOG_LEVEL_WARN, "\xC3\xA4 text");
    RemoveVectoredExceptionHandler(handler);
    EXPECT_TRUE(taken.ends_with(L"[WARN]  \u00e4 text\r\n")) << Vimbrel::ToUtf8(taken);
}

}  // namespace
}  // namespace HalvorixAppLog

// Texts for the debugger, taken where it would: at the exception by which the system hands them on.
#include <windows.h>

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

std::wstring taken;

LONG CALLBACK Take(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD wide_text = 0x4001000A;
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == wide_text) {
        taken.assign(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]), record.ExceptionInformation[0] - 1);
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

class DebuggerTest : public LogFixture {};

TEST_F(DebuggerTest, GetsEveryRecordAsUtf16) {
    manager.SetOutFile(LOGGER_MAIN, false);
    void* const handler = AddVectoredExceptionHandler(1, Take);
    manager.Log(LOGGER_MAIN, LOG_LEVEL_WARN, "\xC3\xA4 \xF0\x9F\x98\x80");
    RemoveVectoredExceptionHandler(handler);
    EXPECT_TRUE(taken.ends_with(L"[WARN]  \u00e4 \U0001F600\r\n"));
}

}  // namespace
}  // namespace HalvorixAppLog

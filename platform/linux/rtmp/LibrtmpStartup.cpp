#include "platform/linux/rtmp/LibrtmpStartup.h"

#include <gnutls/gnutls.h>
#include <librtmp/log.h>
#include <librtmp/rtmp.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>

#include "vimbrel/AppLog.h"

// librtmp's settings for TLS: exported, and not in its headers.
struct RtmpTlsSettings {
    gnutls_certificate_credentials_t credentials;
    gnutls_priority_t priorities;
};
extern "C" RtmpTlsSettings* RTMP_TLS_ctx;

namespace Vimbrel {
namespace {

// librtmp has no error codes: its calls succeed or fail, and its messages say why. By itself it
// writes them to the standard error. Messages of its lower levels may hold passwords.
void Log(int level, const char* format, va_list arguments) {
    if (level > RTMP_LOGWARNING) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    try {
        APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "RTMP: " << text);
    } catch (const std::bad_alloc&) {
        // The message is lost: no exception may pass through librtmp's frames.
    }
}

// librtmp takes a session ticket of TLS 1.3, which may come at any time, for a failure to read.
void LimitTls() {
    if (RTMP_TLS_ctx == nullptr) return;
    gnutls_priority_t priorities = nullptr;
    if (gnutls_priority_init(&priorities, "NORMAL:-VERS-TLS1.3", nullptr) != GNUTLS_E_SUCCESS)
        return;
    std::swap(RTMP_TLS_ctx->priorities, priorities);
    if (priorities != nullptr) gnutls_priority_deinit(priorities);
}

}  // namespace

// librtmp starts TLS with its first session, without a lock.
void StartLibrtmp() {
    static std::once_flag once;
    std::call_once(once, [] {
        RTMP_LogSetCallback(Log);
        RTMP_LogSetLevel(RTMP_LOGWARNING);
        if (RTMP* session = RTMP_Alloc()) {
            RTMP_Init(session);
            RTMP_Free(session);
        }
        LimitTls();
    });
}

}  // namespace Vimbrel

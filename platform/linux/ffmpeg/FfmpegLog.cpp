#include "platform/linux/ffmpeg/FfmpegLog.h"

#include <cstdarg>

#include "vimbrel/AppLog.h"

extern "C" {
#include <libavutil/log.h>
}

namespace Vimbrel {

namespace {

// A damaged file may be worth a message per packet.
constexpr int most_messages = 5;

thread_local int scopes = 0;
thread_local int messages = 0;

void Forward(void* context, int level, const char* format, va_list values) {
    // Without a context it may come from a thread of a decoder.
    if (scopes == 0 && context) {
        av_log_default_callback(context, level, format, values);
        return;
    }
    if (level > AV_LOG_WARNING || ++messages > most_messages) return;
    char text[512];
    int prefix = 1;
    av_log_format_line2(context, level, format, values, text, sizeof text, &prefix);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "ffmpeg: " << text);
}

// Before the application's own, which thereby wins.
struct Installation {
    Installation() { av_log_set_callback(Forward); }
    // The library may be unloaded.
    ~Installation() { av_log_set_callback(av_log_default_callback); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
};

const Installation installation;

}  // namespace

FfmpegLogScope::FfmpegLogScope() {
    if (scopes++ == 0) messages = 0;
}

FfmpegLogScope::~FfmpegLogScope() { --scopes; }

}  // namespace Vimbrel

#include "platform/linux/ffmpeg/QuietFormat.h"

#include <cstddef>

#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

void Silence(AVFormatContext& format) {
    static const AVClass quiet = [] {
        AVClass copy = *avformat_get_class();
        copy.log_level_offset_offset = offsetof(AVFormatContext, metadata_header_padding);
        return copy;
    }();
    format.av_class = &quiet;
    format.metadata_header_padding = quiet_log_offset;
}

}  // namespace Vimbrel

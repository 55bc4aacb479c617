#include "platform/linux/ffmpeg/FfmpegError.h"

extern "C" {
#include <libavutil/error.h>
}

#include "platform/linux/kernel/ErrnoResult.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

// Positive only for FFmpeg's own tags, which are far above the C library's numbers.
HRESULT MapNumber(int error) {
    return AVUNERROR(error) < 4096 ? ResultFromErrno(AVUNERROR(error)) : E_FAIL;
}

HRESULT MapDecoding(int error) {
    switch (error) {
        case AVERROR_DECODER_NOT_FOUND:
        case AVERROR_PATCHWELCOME:
            return WINCODEC_ERR_COMPONENTNOTFOUND;
        case AVERROR_INVALIDDATA:
        case AVERROR_EXTERNAL:
        case AVERROR_EOF:
        // A decoder that needs more bytes although it got all there are.
        case AVERROR(EAGAIN):
        // Decoders say this of header fields; no call of ours passes them a bad argument.
        case AVERROR(EINVAL):
        case AVERROR(ERANGE):
            return WINCODEC_ERR_BADIMAGE;
        default:
            return MapNumber(error);
    }
}

HRESULT MapEncoding(int error) {
    return error == AVERROR_ENCODER_NOT_FOUND ? REGDB_E_CLASSNOTREG : MapNumber(error);
}

}  // namespace

HRESULT ResultFromFfmpeg(int error, const char* step, FfmpegUse use) {
    char words[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, words, sizeof words);
    const HRESULT hr = use == FfmpegUse::decode ? MapDecoding(error) : MapEncoding(error);
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE, "ffmpeg: %s: %s - 0x%08X", step, words,
                  static_cast<unsigned>(hr));
    return hr;
}

}  // namespace Vimbrel

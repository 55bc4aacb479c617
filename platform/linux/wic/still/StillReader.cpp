#include "platform/linux/wic/still/StillReader.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/kernel/ErrnoResult.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/still/PictureNormalizer.h"
#include "platform/linux/wic/still/PngData.h"

namespace Vimbrel {

namespace {

class File {
public:
    explicit File(const std::string& path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~File() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int Descriptor() const { return descriptor_; }

    // All of `count`, or less at the file's end.
    HRESULT Read(std::uint8_t* bytes, std::size_t count, std::size_t* done) {
        for (*done = 0; *done < count;) {
            const ssize_t got = read(descriptor_, bytes + *done, count - *done);
            if (got == 0) break;
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return ResultFromErrno(errno);
            *done += static_cast<std::size_t>(got);
        }
        return S_OK;
    }

private:
    int descriptor_;
};

std::uint8_t* LastRow(const AVFrame& frame) {
    return frame.data[0] + static_cast<std::ptrdiff_t>(frame.linesize[0]) * (frame.height - 1);
}

// Gives the decoder a picture whose last row is zeros.
int ClearLastRow(AVCodecContext* context, AVFrame* frame, int flags) {
    const int error = avcodec_default_get_buffer2(context, frame, flags);
    if (error >= 0)
        std::memset(LastRow(*frame), 0, static_cast<std::size_t>(std::abs(frame->linesize[0])));
    return error;
}

bool LastRowIsClear(const AVFrame& frame) {
    const AVPixFmtDescriptor* descriptor =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const std::uint8_t* row = LastRow(frame);
    const std::ptrdiff_t size =
        (std::ptrdiff_t{av_get_padded_bits_per_pixel(descriptor)} * frame.width + 7) / 8;
    return std::all_of(row, row + size, [](std::uint8_t byte) { return byte == 0; });
}

HRESULT Decode(const StillLayout& layout, AVPacket* file, FfmpegPtr<AVFrame>* picture) {
    const AVCodec* codec = avcodec_find_decoder(layout.codec);
    if (!codec) return ResultFromFfmpeg(AVERROR_DECODER_NOT_FOUND, "finding a decoder");
    const FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(codec));
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    if (!context || !frame) return E_OUTOFMEMORY;
    context->log_level_offset = quiet_log_offset;
    context->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
    context->max_pixels = static_cast<std::int64_t>(picture_pixel_limit);
    // Threads decode several pictures at once, never one.
    context->thread_count = 1;
    if (layout.codec == AV_CODEC_ID_PNG) context->get_buffer2 = ClearLastRow;
    int error = avcodec_open2(context.get(), codec, nullptr);
    if (error < 0) return ResultFromFfmpeg(error, "opening the decoder");
    error = avcodec_send_packet(context.get(), file);
    if (error >= 0) error = avcodec_receive_frame(context.get(), frame.get());
    if (error == AVERROR(EAGAIN)) {
        error = avcodec_send_packet(context.get(), nullptr);
        if (error >= 0) error = avcodec_receive_frame(context.get(), frame.get());
    }
    if (error < 0) return ResultFromFfmpeg(error, "decoding a still");
    const bool damaged = frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT);
    if (damaged || static_cast<UINT>(frame->width) != layout.width ||
        static_cast<UINT>(frame->height) != layout.height) {
        return ResultFromFfmpeg(AVERROR_INVALIDDATA, "checking the still");
    }
    *picture = std::move(frame);
    return S_OK;
}

// FFmpeg's PNG decoder takes data that ends early for a whole picture. A last row with something in
// it shows that it does not; else the data is inflated once more and counted, which would be a
// waste for every picture.
HRESULT DecodePng(const StillLayout& layout, AVPacket* file, FfmpegPtr<AVFrame>* picture) {
    const HRESULT hr = Decode(layout, file, picture);
    if (FAILED(hr)) return hr;
    if (!layout.hidden_tail && !LastRowIsClear(**picture)) return S_OK;
    if (HasAllPngRows(ByteView(file->data, static_cast<std::size_t>(file->size)))) return S_OK;
    picture->reset();
    return ResultFromFfmpeg(AVERROR_INVALIDDATA, "counting the still's rows");
}

}  // namespace

HRESULT ReadStillFile(const std::string& path, StillLayout* layout, FfmpegPtr<AVPacket>* file) {
    File source(path);
    if (source.Descriptor() < 0) return ResultFromErrno(errno);
    struct stat status {};
    if (fstat(source.Descriptor(), &status) != 0) return ResultFromErrno(errno);
    if (S_ISDIR(status.st_mode)) return ResultFromErrno(EISDIR);
    if (!S_ISREG(status.st_mode)) return WINCODEC_ERR_COMPONENTNOTFOUND;

    std::array<std::uint8_t, still_signature_size> start{};
    std::size_t started = 0;
    HRESULT hr = source.Read(start.data(), start.size(), &started);
    if (FAILED(hr)) return hr;
    hr = IdentifyStill(ByteView(start.data(), started), layout);
    if (FAILED(hr)) return hr;

    if (status.st_size > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE)
        return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    const std::size_t size = std::max(static_cast<std::size_t>(status.st_size), started);
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), static_cast<int>(size)) < 0) return E_OUTOFMEMORY;
    std::memcpy(packet->data, start.data(), started);
    std::size_t rest = 0;
    hr = source.Read(packet->data + started, size - started, &rest);
    if (FAILED(hr)) return hr;
    av_shrink_packet(packet.get(), static_cast<int>(started + rest));
    hr = ReadStillLayout(ByteView(packet->data, started + rest), layout);
    if (FAILED(hr)) return hr;
    if (layout->codec == AV_CODEC_ID_TIFF) TrimTiffDirectory(packet->data, started + rest);
    *file = std::move(packet);
    return S_OK;
}

HRESULT DecodeStill(const StillLayout& layout, AVPacket* file, FfmpegPtr<AVFrame>* picture) {
    const HRESULT hr = layout.codec == AV_CODEC_ID_PNG ? DecodePng(layout, file, picture)
                                                       : Decode(layout, file, picture);
    return FAILED(hr) ? hr : NormalizePicture(*picture, layout);
}

}  // namespace Vimbrel

#include "platform/linux/wic/gif/GifReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/kernel/ErrnoResult.h"

namespace Vimbrel {

namespace {

// Grows while a reader goes on: a pass over the file takes large pieces, a small frame does not
// read far beyond its end.
constexpr std::size_t smallest_buffer = 4 * 1024;
constexpr std::size_t largest_buffer = 64 * 1024;

// A screen of 1 x 1 without a palette.
constexpr std::array<std::uint8_t, GifReader::head_size> stand_in_head = {
    'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0};

}  // namespace

GifFile::~GifFile() {
    if (file_ >= 0) close(file_);
}

HRESULT GifFile::Open(const std::string& path) {
    file_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return file_ >= 0 ? S_OK : ResultFromErrno(errno);
}

std::size_t GifFile::ReadAt(std::uint64_t position, std::uint8_t* bytes, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t now =
            pread(file_, bytes + done, size - done, static_cast<off_t>(position + done));
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) break;
        done += static_cast<std::size_t>(now);
    }
    return done;
}

GifReader::~GifReader() {
    int error = 0;
    if (gif_) DGifCloseFile(gif_, &error);
}

HRESULT GifReader::Open() { return OpenGif(); }

HRESULT GifReader::OpenAt(std::uint64_t position) {
    position_ = position;
    head_left_ = stand_in_head.size();
    return OpenGif();
}

HRESULT GifReader::OpenGif() {
    int error = 0;
    gif_ = DGifOpen(
        this,
        [](GifFileType* gif, GifByteType* bytes, int size) {
            return static_cast<GifReader*>(gif->UserData)->Read(bytes, size);
        },
        &error);
    if (gif_) return S_OK;
    return error == D_GIF_ERR_NOT_ENOUGH_MEM ? E_OUTOFMEMORY : WINCODEC_ERR_BADHEADER;
}

int GifReader::Read(GifByteType* bytes, int size) {
    const std::size_t wanted = size > 0 ? static_cast<std::size_t>(size) : 0;
    std::size_t done = std::min(wanted, head_left_);
    if (done > 0) {
        std::memcpy(bytes, stand_in_head.data() + (stand_in_head.size() - head_left_), done);
        head_left_ -= done;
    }
    while (done < wanted) {
        if (position_ < buffer_start_ || position_ >= buffer_start_ + buffer_fill_) {
            buffer_.resize(std::clamp(buffer_.size() * 2, smallest_buffer, largest_buffer));
            buffer_start_ = position_;
            buffer_fill_ = file_.ReadAt(position_, buffer_.data(), buffer_.size());
            if (buffer_fill_ == 0) {
                ended_ = true;
                break;
            }
        }
        const auto offset = static_cast<std::size_t>(position_ - buffer_start_);
        const std::size_t now = std::min(wanted - done, buffer_fill_ - offset);
        std::memcpy(bytes + done, buffer_.data() + offset, now);
        position_ += now;
        done += now;
    }
    if (done > 0) last_byte_ = bytes[done - 1];
    return static_cast<int>(done);
}

}  // namespace Vimbrel

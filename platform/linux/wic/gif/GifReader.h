// giflib's reading half over a file that is read from any position.
#pragma once

#include <gif_lib.h>
#include <winerror.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vimbrel {

// An open file, which several readers share.
class GifFile {
public:
    GifFile() = default;
    ~GifFile();
    GifFile(const GifFile&) = delete;
    GifFile& operator=(const GifFile&) = delete;

    HRESULT Open(const std::string& path);
    // Fewer bytes than asked for at the end of the file and on errors.
    std::size_t ReadAt(std::uint64_t position, std::uint8_t* bytes, std::size_t size) const;

private:
    int file_ = -1;
};

// One pass of giflib over the file.
class GifReader {
public:
    static constexpr std::size_t head_size = 13;  // signature and logical screen descriptor

    explicit GifReader(const GifFile& file) : file_(file) {}
    ~GifReader();
    GifReader(const GifReader&) = delete;
    GifReader& operator=(const GifReader&) = delete;

    // From the beginning.
    HRESULT Open();
    // Behind a head of its own, without a palette, at a block that begins at `position`.
    HRESULT OpenAt(std::uint64_t position);

    GifFileType* Gif() const { return gif_; }
    // Where the next byte is taken from.
    std::uint64_t Position() const { return position_; }
    std::uint8_t LastByte() const { return last_byte_; }
    // Whether a read has come to the end of the file.
    bool Ended() const { return ended_; }

private:
    HRESULT OpenGif();
    int Read(GifByteType* bytes, int size);

    const GifFile& file_;
    GifFileType* gif_ = nullptr;
    std::uint64_t position_ = 0;
    bool ended_ = false;
    std::uint8_t last_byte_ = 0;
    std::size_t head_left_ = 0;         // of the head that stands in for the file's
    std::vector<std::uint8_t> buffer_;  // the file's bytes from buffer_start_ on
    std::uint64_t buffer_start_ = 0;
    std::size_t buffer_fill_ = 0;
};

}  // namespace Vimbrel

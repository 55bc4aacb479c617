// giflib's writing half into memory.
#pragma once

#include <gif_lib.h>
#include <wincodec.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Vimbrel {

// After a failure, which can only be one of memory, all further calls fail. Every piece is complete
// in itself, so that pieces made by several of these can stand in one file.
class GifBytes {
public:
    GifBytes();
    ~GifBytes();
    GifBytes(const GifBytes&) = delete;
    GifBytes& operator=(const GifBytes&) = delete;

    // Signature and logical screen without a palette.
    HRESULT PutHead(std::uint16_t width, std::uint16_t height);
    // `blocks` with their lengths, and the terminator behind them, as IsBlockSequence has it.
    HRESULT PutApplication(std::span<const std::uint8_t> name,
                           std::span<const std::uint8_t> blocks);
    // Not empty.
    HRESULT PutComment(const std::string& text);
    HRESULT PutGraphicControl(std::uint16_t delay, std::uint8_t disposal, bool transparent,
                              std::uint8_t transparent_index);
    // A picture at 0, 0 with a palette of its own, of 1 to 256 colours whose alpha is left out.
    HRESULT PutImage(std::uint16_t width, std::uint16_t height, std::span<const WICColor> colors,
                     std::span<std::uint8_t> indices);
    HRESULT PutTrailer();

    std::vector<std::uint8_t> Take();

    static bool IsBlockSequence(std::span<const std::uint8_t> blocks);
    // Moves a picture of PutImage.
    static void SetPlace(std::span<std::uint8_t> image, std::uint16_t left, std::uint16_t top);

private:
    HRESULT Result(int outcome) const {
        return outcome == GIF_OK && !failed_ && gif_ ? S_OK : E_OUTOFMEMORY;
    }

    GifFileType* gif_ = nullptr;
    std::vector<std::uint8_t> bytes_;
    bool failed_ = false;
};

}  // namespace Vimbrel

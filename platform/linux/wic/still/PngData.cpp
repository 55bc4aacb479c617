#include "platform/linux/wic/still/PngData.h"

#include <zlib.h>

#include <array>

namespace Vimbrel {

namespace {

struct Pass {
    std::uint32_t x, y, step_x, step_y;
};
constexpr std::array<Pass, 7> passes = {{{0, 0, 8, 8},
                                         {4, 0, 8, 8},
                                         {0, 4, 4, 8},
                                         {2, 0, 4, 4},
                                         {0, 2, 2, 4},
                                         {1, 0, 2, 2},
                                         {0, 1, 1, 2}}};

std::uint64_t PassBytes(const Pass& pass, std::uint32_t width, std::uint32_t height,
                        std::uint64_t bits) {
    if (width <= pass.x || height <= pass.y) return 0;
    const std::uint64_t columns = (std::uint64_t{width} - pass.x + pass.step_x - 1) / pass.step_x;
    const std::uint64_t rows = (std::uint64_t{height} - pass.y + pass.step_y - 1) / pass.step_y;
    return rows * (1 + (columns * bits + 7) / 8);  // each row has its filter in front
}

std::uint64_t DataBytes(ByteView file) {
    constexpr std::array<std::uint32_t, 7> samples = {1, 0, 3, 1, 2, 0, 4};  // by colour type
    const std::uint32_t color_type = file.U8(25);
    const std::uint64_t bits =
        std::uint64_t{file.U8(24)} * (color_type < samples.size() ? samples[color_type] : 0);
    const std::uint32_t width = file.Be32(16);
    const std::uint32_t height = file.Be32(20);
    if (file.U8(28) == 0) return PassBytes({0, 0, 1, 1}, width, height, bits);
    std::uint64_t sum = 0;
    for (const Pass& pass : passes) sum += PassBytes(pass, width, height, bits);
    return sum;
}

}  // namespace

bool HasAllPngRows(ByteView file) {
    constexpr std::uint32_t data = 0x49444154;  // IDAT
    const std::uint64_t wanted = DataBytes(file);
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return false;
    std::uint64_t got = 0;
    int state = Z_OK;
    for (std::uint64_t at = 33; state == Z_OK && got < wanted && file.Has(at, 12);) {
        const std::uint32_t size = file.Be32(at);
        if (!file.Has(at + 12, size)) break;
        if (file.Be32(at + 4) == data) {
            stream.next_in = const_cast<Bytef*>(file.Data() + at + 8);
            stream.avail_in = size;
            do {
                std::array<Bytef, 1 << 14> unused;
                stream.next_out = unused.data();
                stream.avail_out = static_cast<uInt>(unused.size());
                state = inflate(&stream, Z_NO_FLUSH);
                got += unused.size() - stream.avail_out;
            } while (state == Z_OK && got < wanted &&
                     (stream.avail_in > 0 || stream.avail_out == 0));
            if (state == Z_BUF_ERROR) state = Z_OK;  // no more than that the chunk is used up
        }
        at += std::uint64_t{12} + size;
    }
    inflateEnd(&stream);
    return got >= wanted;
}

}  // namespace Vimbrel

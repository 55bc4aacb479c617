#include "PngFile.h"

#include <zlib.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace studio {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t channels = 3;
constexpr std::uint8_t bits_per_channel = 8;
constexpr std::uint8_t colour_type_rgb = 2;
enum Filter : std::uint8_t { filter_sub = 1, filter_up = 2 };

void AppendNumber(Bytes& bytes, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

void AppendChunk(Bytes& file, const char* type, const Bytes& data) {
    AppendNumber(file, static_cast<std::uint32_t>(data.size()));
    const std::size_t checked = file.size();
    file.insert(file.end(), type, type + 4);
    file.insert(file.end(), data.begin(), data.end());
    const uLong sum = crc32_z(0, file.data() + checked, file.size() - checked);
    AppendNumber(file, static_cast<std::uint32_t>(sum));
}

// How badly a filtered row can be compressed, by the differences of every eighth pixel.
unsigned Weight(const std::uint8_t* row, const std::uint8_t* other, std::size_t size) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < size; i += 8 * channels)
        sum += static_cast<unsigned>(std::abs(static_cast<std::int8_t>(row[i] - other[i])));
    return sum;
}

// Rows, each with its filter in front: differences to the left pixel or to the row above.
Bytes FilteredRows(const Raster& picture) {
    const std::size_t row = static_cast<std::size_t>(picture.width) * channels;
    Bytes filtered((row + 1) * static_cast<std::size_t>(picture.height));
    // What is to the left of the first pixel is black, as is what is above the first row.
    Bytes above(channels + row, 0);
    Bytes current(channels + row, 0);
    std::uint8_t* target = filtered.data();
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* const pixels = picture.At(0, y);
        for (int x = 0; x < picture.width; ++x) {
            for (std::size_t i = 0; i < channels; ++i)
                current[(static_cast<std::size_t>(x) + 1) * channels + i] =
                    pixels[x * 4 + 2 - static_cast<int>(i)];
        }
        const std::uint8_t* const here = current.data() + channels;
        const bool is_up =
            Weight(here, above.data() + channels, row) <= Weight(here, current.data(), row);
        const std::uint8_t* const other = is_up ? above.data() + channels : current.data();
        *target++ = is_up ? filter_up : filter_sub;
        for (std::size_t i = 0; i < row; ++i)
            target[i] = static_cast<std::uint8_t>(here[i] - other[i]);
        target += row;
        std::swap(above, current);
    }
    return filtered;
}

// Runs only: half the time of a search for repetitions, which pictures of films hardly have.
bool Compress(Bytes& rows, Bytes& compressed) {
    z_stream stream{};
    if (deflateInit2(&stream, 1, Z_DEFLATED, MAX_WBITS, MAX_MEM_LEVEL, Z_RLE) != Z_OK) return false;
    compressed.resize(deflateBound(&stream, rows.size()));
    stream.next_in = rows.data();
    stream.avail_in = static_cast<uInt>(rows.size());
    stream.next_out = compressed.data();
    stream.avail_out = static_cast<uInt>(compressed.size());
    const bool whole = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    compressed.resize(stream.total_out);
    deflateEnd(&stream);
    return whole;
}

}  // namespace

bool WritePng(const Raster& picture, const std::filesystem::path& out) {
    Bytes rows = FilteredRows(picture);
    Bytes data;
    if (rows.size() > 0x7FFFFFFF || !Compress(rows, data)) return false;
    Bytes header;
    AppendNumber(header, static_cast<std::uint32_t>(picture.width));
    AppendNumber(header, static_cast<std::uint32_t>(picture.height));
    header.insert(header.end(), {bits_per_channel, colour_type_rgb, 0, 0, 0});
    Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    file.reserve(data.size() + 100);
    AppendChunk(file, "IHDR", header);
    AppendChunk(file, "IDAT", data);
    AppendChunk(file, "IEND", {});
    std::ofstream stream(out, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(file.data()),
                 static_cast<std::streamsize>(file.size()));
    stream.close();
    return !stream.fail();
}

}  // namespace studio

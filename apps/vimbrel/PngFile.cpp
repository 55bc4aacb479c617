#include "PngFile.h"

#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstdio>
#include <memory>

namespace studio {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class Writer {
public:
    Writer() : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, Ignore)) {
        if (png) info = png_create_info_struct(png);
    }
    ~Writer() { png_destroy_write_struct(&png, &info); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool Write(const Raster& picture, std::FILE* file) {
        // Where the library jumps to after a failure, which is its only way to tell; nothing is
        // made between.
        if (!info || setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp)
        png_init_io(png, file);
        png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                     static_cast<png_uint_32>(picture.height), 8, PNG_COLOR_TYPE_RGB,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        // Half the time of all filters and of a search for repetitions, which pictures of films
        // hardly have.
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB | PNG_FILTER_UP);
        png_set_compression_level(png, 1);
        png_set_compression_strategy(png, Z_RLE);
        png_write_info(png, info);
        png_set_filler(png, 0, PNG_FILLER_AFTER);
        png_set_bgr(png);
        for (int y = 0; y < picture.height; ++y) png_write_row(png, picture.At(0, y));
        png_write_end(png, info);
        return true;
    }

private:
    static void Ignore(png_structp, png_const_charp) {}

    png_structp png;
    png_infop info = nullptr;
};

}  // namespace

bool WritePng(const Raster& picture, const std::filesystem::path& out) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(out.c_str(), "wb"));
    return file && Writer().Write(picture, file.get()) && std::fflush(file.get()) == 0;
}

}  // namespace studio

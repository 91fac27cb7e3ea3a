#include "Png.h"

#include <cerrno>
#include <csetjmp>
#include <cstring>

#include <png.h>

#include "Files.h"

namespace tamo::tool {

namespace {

void onError(png_structp png, png_const_charp message)
{
    static_cast<std::string*>(png_get_error_ptr(png))->assign(message);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void writeRows(png_structp png, png_infop info, const Image& image, const RowDone& rowDone)
{
    png_set_IHDR(png, info, image.width, image.height, 8,
                 image.colour ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const size_t rowBytes = size_t{image.width} * (image.colour ? 3 : 1);
    for (uint32_t y = 0; y < image.height; y++) {
        png_write_row(png, image.pixels.data() + y * rowBytes);
        if (rowDone)
            rowDone(y + 1);
    }
    png_write_end(png, info);
}

// libpng leaves by longjmp on failure: nothing with a destructor lives in
// this frame.
bool encode(FILE* file, const Image& image, const RowDone& rowDone, std::string& message)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, onError, onWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        message = "out of memory";
        return false;
    }
    if (setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    writeRows(png, info, image, rowDone);
    png_destroy_write_struct(&png, &info);
    return true;
}

} // namespace

bool writePng(const std::string& path, const Image& image, std::string& error, const RowDone& rowDone)
{
    return writeOutput(
        path,
        [&image, &rowDone](FILE* file, std::string& why) {
            if (encode(file, image, rowDone, why))
                return true;
            // libpng says "Write Error"; the system says why.
            if (std::ferror(file))
                why = std::strerror(errno);
            return false;
        },
        error);
}

} // namespace tamo::tool

#include "Png.h"

#include <png.h>

namespace tamo::tool {

bool writePng(const std::string& path, const Image& image, std::string& error)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = image.width;
    png.height = image.height;
    png.format = image.colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&png, path.c_str(), 0, image.pixels.data(), 0, nullptr) == 0) {
        error = path + ": " + png.message;
        png_image_free(&png);
        return false;
    }
    return true;
}

} // namespace tamo::tool

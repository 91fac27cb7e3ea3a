/*
 * Frames as the library lays them out in memory, and their conversion into
 * an image a person can look at.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tamo {
class ImageBuffer;
}

namespace tamo::tool {

struct Plane {
    uint8_t* data = nullptr;
    uint32_t stride = 0;    // bytes per row
    uint32_t scanlines = 0; // rows
};

struct Frame {
    uint32_t format = 0; // HAL pixel format
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<Plane> planes;
};

// Where each plane sits in a raw dump.
struct PlaneGeometry {
    size_t offset = 0;
    uint32_t stride = 0;
    uint32_t scanlines = 0;
};

// 8-bit RGB, or grey, rows packed.
struct Image {
    uint32_t width = 0;
    uint32_t height = 0;
    bool colour = true;
    std::vector<uint8_t> pixels;
};

// Told how many rows of an image are done, for a progress bar.
using RowDone = std::function<void(uint32_t rows)>;

// Colour filter of a RAW frame, or none (a grey image).
enum class Bayer { RGGB, GRBG, GBRG, BGGR, NONE };

// The formats toImage() reads, named as ImageBufferUtils::getFormatString
// names them; matching ignores case.
std::optional<uint32_t> convertibleFormat(const std::string& name);
std::vector<std::string> convertibleFormatNames();
bool isRawFormat(uint32_t format);

/*
 * The planes of a width x height frame as the host allocator lays them out
 * (see ui/HostGralloc.h of the host libui), back to back. A non-zero
 * stride replaces the first plane's; the chroma planes follow it. Empty for
 * a format toImage() does not read.
 */
std::vector<PlaneGeometry> hostGeometry(uint32_t format, uint32_t width, uint32_t height,
                                        uint32_t stride = 0);

// The planes of a locked buffer, as the library reports them.
Frame mappedFrame(ImageBuffer& buffer);

// Whether the planes hold the whole frame; false with a reason if not.
bool checkPlanes(const Frame& frame, std::string& error);

/*
 * YUV becomes RGB (BT.601, full range); Y8 stays grey; Y16 and RAW are
 * scaled so that the frame's brightest sample is white, RAW demosaiced by
 * giving each 2x2 cell its own R, G and B. Planes too small for the frame
 * give nullopt and a reason.
 */
std::optional<Image> toImage(const Frame& frame, Bayer bayer, std::string& error,
                            const RowDone& rowDone = nullptr);

// One line saying what toImage() does with a format.
std::string conversionNote(uint32_t format, Bayer bayer);

} // namespace tamo::tool

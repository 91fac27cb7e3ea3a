#include "Frame.h"

#include <algorithm>
#include <cctype>

#include <fmt/core.h>
#include <system/graphics.h>
#include <tamo/ImageBuffer.h>

namespace tamo::tool {

namespace {

const uint32_t kConvertibleFormats[] = {
    HAL_PIXEL_FORMAT_YCBCR_422_SP, HAL_PIXEL_FORMAT_YCRCB_420_SP, HAL_PIXEL_FORMAT_YCBCR_422_I,
    HAL_PIXEL_FORMAT_YCBCR_420_888, HAL_PIXEL_FORMAT_YV12, HAL_PIXEL_FORMAT_Y8,
    HAL_PIXEL_FORMAT_Y16, HAL_PIXEL_FORMAT_RAW10, HAL_PIXEL_FORMAT_RAW12, HAL_PIXEL_FORMAT_RAW16,
};

uint64_t align64(uint64_t bytes)
{
    return (bytes + 63) / 64 * 64;
}

uint64_t half(uint64_t n)
{
    return (n + 1) / 2;
}

// Bytes per row and rows each plane must have at the least.
std::vector<std::pair<uint64_t, uint64_t>> planeNeeds(uint32_t format, uint64_t w, uint64_t h)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
        return {{w, h}, {2 * half(w), h}};
    case HAL_PIXEL_FORMAT_YCRCB_420_SP:
    case HAL_PIXEL_FORMAT_YCBCR_420_888:
        return {{w, h}, {2 * half(w), half(h)}};
    case HAL_PIXEL_FORMAT_YV12:
        return {{w, h}, {half(w), half(h)}, {half(w), half(h)}};
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
        return {{4 * half(w), h}};
    case HAL_PIXEL_FORMAT_Y8:
        return {{w, h}};
    case HAL_PIXEL_FORMAT_Y16:
    case HAL_PIXEL_FORMAT_RAW16:
        return {{2 * w, h}};
    case HAL_PIXEL_FORMAT_RAW10:
        return {{(w + 3) / 4 * 5, h}};
    case HAL_PIXEL_FORMAT_RAW12:
        return {{half(w) * 3, h}};
    case HAL_PIXEL_FORMAT_BLOB: // one row of up to three bytes per pixel
        return {{3 * w * h, 1}};
    default:
        return {};
    }
}

// Where a YUV format keeps its samples: luma in plane 0, each chroma sample
// shared by two columns (and by two rows when vsub is 2).
struct YuvLayout {
    unsigned lumaStep;
    unsigned cbPlane, cbOffset;
    unsigned crPlane, crOffset;
    unsigned chromaStep; // bytes between chroma samples of one row
    unsigned vsub;
};

YuvLayout yuvLayout(uint32_t format)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP: return {1, 1, 0, 1, 1, 2, 1};
    case HAL_PIXEL_FORMAT_YV12: return {1, 2, 0, 1, 0, 1, 2};
    case HAL_PIXEL_FORMAT_YCBCR_422_I: return {2, 0, 1, 0, 3, 4, 1};
    default: return {1, 1, 1, 1, 0, 2, 2}; // NV21, and YCbCr_420_888 as the host lays it out
    }
}

uint8_t clampByte(float v)
{
    return static_cast<uint8_t>(std::clamp(v + 0.5f, 0.0f, 255.0f));
}

Image yuvToRgb(const Frame& f, const RowDone& rowDone)
{
    const YuvLayout l = yuvLayout(f.format);
    Image image{f.width, f.height, true, std::vector<uint8_t>(size_t{f.width} * f.height * 3)};
    uint8_t* out = image.pixels.data();
    for (uint32_t y = 0; y < f.height; y++) {
        const Plane& luma = f.planes[0];
        const Plane& cbPlane = f.planes[l.cbPlane];
        const Plane& crPlane = f.planes[l.crPlane];
        const uint8_t* lumaRow = luma.data + size_t{y} * luma.stride;
        const uint8_t* cbRow = cbPlane.data + size_t{y / l.vsub} * cbPlane.stride + l.cbOffset;
        const uint8_t* crRow = crPlane.data + size_t{y / l.vsub} * crPlane.stride + l.crOffset;
        for (uint32_t x = 0; x < f.width; x++) {
            const float Y = lumaRow[size_t{x} * l.lumaStep];
            const float cb = cbRow[size_t{x / 2} * l.chromaStep] - 128.0f;
            const float cr = crRow[size_t{x / 2} * l.chromaStep] - 128.0f;
            *out++ = clampByte(Y + 1.402f * cr);
            *out++ = clampByte(Y - 0.344136f * cb - 0.714136f * cr);
            *out++ = clampByte(Y + 1.772f * cb);
        }
        if (rowDone)
            rowDone(y + 1);
    }
    return image;
}

uint16_t sampleAt(const Plane& p, uint32_t format, uint32_t x, uint32_t y)
{
    const uint8_t* row = p.data + size_t{y} * p.stride;
    switch (format) {
    case HAL_PIXEL_FORMAT_RAW10: {
        // Four samples in five bytes: their high bits, then their low bits.
        const uint8_t* group = row + size_t{x / 4} * 5;
        return static_cast<uint16_t>(group[x % 4] << 2 | ((group[4] >> (2 * (x % 4))) & 0x3));
    }
    case HAL_PIXEL_FORMAT_RAW12: {
        const uint8_t* pair = row + size_t{x / 2} * 3;
        return static_cast<uint16_t>(pair[x % 2] << 4 | ((pair[2] >> (4 * (x % 2))) & 0xF));
    }
    default: // 16 bits, little-endian
        return static_cast<uint16_t>(row[size_t{x} * 2] | row[size_t{x} * 2 + 1] << 8);
    }
}

Image samplesToImage(const Frame& f, Bayer bayer, const RowDone& rowDone)
{
    const size_t w = f.width;
    const size_t h = f.height;
    std::vector<uint16_t> samples(w * h);
    for (uint32_t y = 0; y < f.height; y++)
        for (uint32_t x = 0; x < f.width; x++)
            samples[y * w + x] = sampleAt(f.planes[0], f.format, x, y);
    const unsigned white = std::max<unsigned>(1, *std::max_element(samples.begin(), samples.end()));
    auto level = [&](size_t x, size_t y) {
        return static_cast<uint8_t>(samples[std::min(y, h - 1) * w + std::min(x, w - 1)] * 255u / white);
    };

    if (bayer == Bayer::NONE || !isRawFormat(f.format)) {
        Image image{f.width, f.height, false, std::vector<uint8_t>(w * h)};
        for (size_t y = 0; y < h; y++) {
            for (size_t x = 0; x < w; x++)
                image.pixels[y * w + x] = level(x, y);
            if (rowDone)
                rowDone(static_cast<uint32_t>(y + 1));
        }
        return image;
    }

    static const char* const kCells[] = {"RGGB", "GRBG", "GBRG", "BGGR"};
    const char* cell = kCells[static_cast<int>(bayer)];
    Image image{f.width, f.height, true, std::vector<uint8_t>(w * h * 3)};
    for (size_t cy = 0; cy < h; cy += 2) {
        for (size_t cx = 0; cx < w; cx += 2) {
            unsigned r = 0, g = 0, b = 0;
            for (unsigned i = 0; i < 4; i++) {
                const unsigned v = level(cx + i % 2, cy + i / 2);
                if (cell[i] == 'R')
                    r = v;
                else if (cell[i] == 'B')
                    b = v;
                else
                    g += v;
            }
            const uint8_t rgb[3] = {static_cast<uint8_t>(r), static_cast<uint8_t>(g / 2),
                                    static_cast<uint8_t>(b)};
            for (size_t y = cy; y < std::min(cy + 2, h); y++)
                for (size_t x = cx; x < std::min(cx + 2, w); x++)
                    std::copy(rgb, rgb + 3, &image.pixels[(y * w + x) * 3]);
        }
        if (rowDone)
            rowDone(static_cast<uint32_t>(std::min(cy + 2, h)));
    }
    return image;
}

std::string lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

std::optional<uint32_t> convertibleFormat(const std::string& name)
{
    for (uint32_t format : kConvertibleFormats)
        if (lower(ImageBufferUtils::getFormatString(format)) == lower(name))
            return format;
    return std::nullopt;
}

std::vector<std::string> convertibleFormatNames()
{
    std::vector<std::string> names;
    for (uint32_t format : kConvertibleFormats)
        names.push_back(ImageBufferUtils::getFormatString(format));
    return names;
}

bool isRawFormat(uint32_t format)
{
    return format == HAL_PIXEL_FORMAT_RAW10 || format == HAL_PIXEL_FORMAT_RAW12 ||
           format == HAL_PIXEL_FORMAT_RAW16;
}

std::vector<PlaneGeometry> hostGeometry(uint32_t format, uint32_t width, uint32_t height,
                                        uint32_t stride)
{
    const auto needs = planeNeeds(format, width, height);
    if (needs.empty() || format == HAL_PIXEL_FORMAT_BLOB)
        return {};
    // The allocator pads every row to 64 bytes.
    uint64_t first = stride != 0 ? stride : align64(needs[0].first);

    std::vector<PlaneGeometry> planes;
    size_t offset = 0;
    for (size_t i = 0; i < needs.size(); i++) {
        uint64_t rowBytes = first;
        if (i > 0 && format == HAL_PIXEL_FORMAT_YV12)
            rowBytes = align64(first / 2);
        planes.push_back({offset, static_cast<uint32_t>(rowBytes),
                          static_cast<uint32_t>(needs[i].second)});
        offset += rowBytes * needs[i].second;
    }
    return planes;
}

Frame mappedFrame(ImageBuffer& buffer)
{
    Frame frame{buffer.getImageFormat(), buffer.getWidth(), buffer.getHeight(), {}};
    const unsigned count = ImageBufferUtils::getNumberOfPlanes(frame.format);
    for (unsigned i = 0; i < count; i++)
        frame.planes.push_back({static_cast<uint8_t*>(buffer.getVa(i)), buffer.getStride(i),
                                buffer.getScanlines(i)});
    return frame;
}

bool checkPlanes(const Frame& frame, std::string& error)
{
    const auto needs = planeNeeds(frame.format, frame.width, frame.height);
    if (needs.empty() || frame.width == 0 || frame.height == 0) {
        error = fmt::format("no layout for a {}x{} frame of format {:#x}", frame.width,
                            frame.height, frame.format);
        return false;
    }
    for (size_t i = 0; i < needs.size(); i++) {
        const Plane* plane = i < frame.planes.size() ? &frame.planes[i] : nullptr;
        if (plane == nullptr || plane->data == nullptr || plane->stride < needs[i].first ||
            plane->scanlines < needs[i].second) {
            error = fmt::format("plane {} is smaller than {} bytes x {} rows", i, needs[i].first,
                                needs[i].second);
            return false;
        }
    }
    return true;
}

std::optional<Image> toImage(const Frame& frame, Bayer bayer, std::string& error,
                            const RowDone& rowDone)
{
    if (frame.format == HAL_PIXEL_FORMAT_BLOB) {
        error = "a BLOB holds no pixels";
        return std::nullopt;
    }
    if (!checkPlanes(frame, error))
        return std::nullopt;

    switch (frame.format) {
    case HAL_PIXEL_FORMAT_Y8: {
        Image image{frame.width, frame.height, false, {}};
        for (uint32_t y = 0; y < frame.height; y++) {
            const uint8_t* row = frame.planes[0].data + size_t{y} * frame.planes[0].stride;
            image.pixels.insert(image.pixels.end(), row, row + frame.width);
        }
        return image;
    }
    case HAL_PIXEL_FORMAT_Y16:
    case HAL_PIXEL_FORMAT_RAW10:
    case HAL_PIXEL_FORMAT_RAW12:
    case HAL_PIXEL_FORMAT_RAW16:
        return samplesToImage(frame, bayer, rowDone);
    default:
        return yuvToRgb(frame, rowDone);
    }
}

std::string conversionNote(uint32_t format, Bayer bayer)
{
    static const char* const kBayerNames[] = {"RGGB", "GRBG", "GBRG", "BGGR"};
    if (isRawFormat(format) && bayer != Bayer::NONE)
        return fmt::format("{} Bayer samples demosaiced per 2x2 cell, brightest sample white",
                           kBayerNames[static_cast<int>(bayer)]);
    if (isRawFormat(format) || format == HAL_PIXEL_FORMAT_Y16)
        return "grey, brightest sample white";
    if (format == HAL_PIXEL_FORMAT_Y8)
        return "grey";
    return "YCbCr to RGB, BT.601 full range";
}

} // namespace tamo::tool

#include "Pattern.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <system/graphics.h>

namespace tamo::tool {

namespace {

struct Rgb {
    uint8_t r, g, b;
};

struct Rect {
    uint32_t x, y, w, h;
};

constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kBlack{0, 0, 0};
constexpr Rgb kBars[] = {kWhite, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                         {255, 0, 255}, {255, 0, 0}, {0, 0, 255}, kBlack};

// 3x5 digits, one row of three bits per byte, top row first.
constexpr uint8_t kDigits[10][5] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 2, 2, 2}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7},
};
constexpr uint32_t kCounterDigits = 10; // enough for any uint32_t

// Where the header that tells a JPEG's length sits: the last bytes of a BLOB.
struct JpegBlobHeader {
    uint16_t blobId; // 0x00FF
    uint32_t size;
};

uint8_t toByte(float v)
{
    return static_cast<uint8_t>(std::clamp(v + 0.5f, 0.0f, 255.0f));
}

void fillYuv(const Frame& f, Rect r, Rgb c)
{
    const uint8_t y = toByte(0.299f * c.r + 0.587f * c.g + 0.114f * c.b);
    const uint8_t cb = toByte(128.0f - 0.168736f * c.r - 0.331264f * c.g + 0.5f * c.b);
    const uint8_t cr = toByte(128.0f + 0.5f * c.r - 0.418688f * c.g - 0.081312f * c.b);
    for (uint32_t row = r.y; row < r.y + r.h; row++)
        std::memset(f.planes[0].data + size_t{row} * f.planes[0].stride + r.x, y, r.w);
    // Interleaved 4:2:0 chroma, Cr first as the host lays out YCbCr_420_888.
    const Plane& chroma = f.planes[1];
    for (uint32_t row = r.y / 2; row < (r.y + r.h + 1) / 2; row++) {
        uint8_t* line = chroma.data + size_t{row} * chroma.stride;
        for (uint32_t col = r.x / 2; col < (r.x + r.w + 1) / 2; col++) {
            line[2 * col] = cr;
            line[2 * col + 1] = cb;
        }
    }
}

void fillRaw16(const Frame& f, Rect r, Rgb c)
{
    // RGGB; 8-bit colour scaled to 10-bit samples.
    const uint16_t red = static_cast<uint16_t>(c.r * 4);
    const uint16_t green = static_cast<uint16_t>(c.g * 4);
    const uint16_t blue = static_cast<uint16_t>(c.b * 4);
    for (uint32_t row = r.y; row < r.y + r.h; row++) {
        uint8_t* line = f.planes[0].data + size_t{row} * f.planes[0].stride;
        const uint16_t even = row % 2 == 0 ? red : green;
        const uint16_t odd = row % 2 == 0 ? green : blue;
        for (uint32_t col = r.x; col < r.x + r.w; col++) {
            const uint16_t v = col % 2 == 0 ? even : odd;
            line[2 * col] = static_cast<uint8_t>(v);
            line[2 * col + 1] = static_cast<uint8_t>(v >> 8);
        }
    }
}

void fill(const Frame& f, Rect r, Rgb c)
{
    if (r.x >= f.width || r.y >= f.height)
        return;
    r.w = std::min(r.w, f.width - r.x);
    r.h = std::min(r.h, f.height - r.y);
    if (f.format == HAL_PIXEL_FORMAT_RAW16)
        fillRaw16(f, r, c);
    else
        fillYuv(f, r, c);
}

void drawBarsAndTarget(const Frame& f)
{
    const uint32_t bars = std::size(kBars);
    for (uint32_t i = 0; i < bars; i++) {
        const uint32_t x = f.width * i / bars;
        fill(f, {x, 0, f.width * (i + 1) / bars - x, f.height}, kBars[i]);
    }
    const uint32_t side = std::max<uint32_t>(4, std::min(f.width, f.height) / 6);
    fill(f, {0, 0, side, side}, kBlack);
    fill(f, {side / 4, side / 4, side / 2, side / 2}, kWhite);
}

void drawNumber(const Frame& f, uint32_t number)
{
    const uint32_t k = std::max<uint32_t>(1, f.height / 80); // font pixel size
    const uint32_t top = f.height > 7 * k ? f.height - 7 * k : 0;
    char text[kCounterDigits + 1];
    const auto digits = static_cast<uint32_t>(std::snprintf(text, sizeof(text), "%u", number));
    // Numbers only grow, so this box covers the one drawn before.
    fill(f, {0, top, (digits * 4 + 1) * k, 7 * k}, kBlack);
    for (uint32_t i = 0; text[i] != '\0'; i++)
        for (uint32_t row = 0; row < 5; row++)
            for (uint32_t col = 0; col < 3; col++)
                if (kDigits[text[i] - '0'][row] & (4 >> col))
                    fill(f, {(1 + 4 * i + col) * k, top + (1 + row) * k, k, k}, kWhite);
}

void writeBlob(const Frame& f, uint32_t number)
{
    const Plane& plane = f.planes[0];
    const size_t size = size_t{plane.stride} * plane.scanlines;
    // Zeroed whole: the padding after blobId reaches the dump too.
    JpegBlobHeader header;
    std::memset(&header, 0, sizeof(header));
    header.blobId = 0x00FF;
    if (size < sizeof(header) + 32)
        return;
    header.size = static_cast<uint32_t>(
        std::snprintf(reinterpret_cast<char*>(plane.data), 32, "tamo test frame %u\n", number));
    std::memcpy(plane.data + size - sizeof(header), &header, sizeof(header));
}

} // namespace

void TestPattern::draw(const void* buffer, const Frame& frame, uint32_t number)
{
    if (frame.format == HAL_PIXEL_FORMAT_BLOB) {
        writeBlob(frame, number);
        return;
    }
    if (painted.insert(buffer).second)
        drawBarsAndTarget(frame);
    drawNumber(frame, number);
}

} // namespace tamo::tool

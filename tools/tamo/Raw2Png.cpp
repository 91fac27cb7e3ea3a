/*
 * tamo raw2png: a raw frame dump (as ImageBuffer::saveToFile writes one)
 * made into a PNG a person can look at.
 */
#include <charconv>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "Files.h"
#include "Frame.h"
#include "Png.h"
#include "Progress.h"

namespace tamo::tool {

namespace {

constexpr uint32_t kMaxSide = 65535;
constexpr uint64_t kMaxPixels = uint64_t{1} << 28;

struct Raw2PngOptions {
    std::string format;
    std::string size;
    uint32_t stride = 0;
    std::string bayer = "rggb";
    std::string input;
    std::string output;
};

const std::string kSizeLimit = "WxH, sides 1 to 65535, at most 2^28 pixels";

// Digits only: no sign, no space, and a number too big is refused, not wrapped.
bool parseSide(const std::string& text, uint32_t& side)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, side);
    return error == std::errc() && stop == end && side >= 1 && side <= kMaxSide;
}

bool parseSize(const std::string& text, uint32_t& width, uint32_t& height)
{
    const size_t x = text.find('x');
    return x != std::string::npos && parseSide(text.substr(0, x), width) &&
           parseSide(text.substr(x + 1), height) && uint64_t{width} * height <= kMaxPixels;
}

Bayer bayerNamed(const std::string& name)
{
    static const std::map<std::string, Bayer> kBayers = {{"rggb", Bayer::RGGB},
                                                         {"grbg", Bayer::GRBG},
                                                         {"gbrg", Bayer::GBRG},
                                                         {"bggr", Bayer::BGGR},
                                                         {"grey", Bayer::NONE}};
    return kBayers.at(name);
}

int convert(const Raw2PngOptions& options)
{
    const Bayer bayer = bayerNamed(options.bayer);
    const uint32_t format = *convertibleFormat(options.format);
    uint32_t width = 0;
    uint32_t height = 0;
    parseSize(options.size, width, height);
    const std::vector<PlaneGeometry> geometry = hostGeometry(format, width, height, options.stride);
    const PlaneGeometry& last = geometry.back();
    const uint64_t needed = last.offset + uint64_t{last.stride} * last.scanlines;

    std::string error;
    if (!notAnInput(options.output, {options.input}, error))
        return fail("{}", error);
    const std::optional<uintmax_t> size = fileSize(options.input, error);
    if (!size)
        return fail("{}", error);
    if (*size < needed)
        return fail("{}: {} bytes, too short: {}x{} {} at stride {} takes {}", options.input,
                    *size, width, height, options.format, geometry[0].stride, needed);

    std::vector<uint8_t> bytes(needed);
    if (!readFile(options.input, bytes.data(), bytes.size(), error))
        return fail("{}", error);
    Frame frame{format, width, height, {}};
    for (const PlaneGeometry& plane : geometry)
        frame.planes.push_back({bytes.data() + plane.offset, plane.stride, plane.scanlines});

    // Converting and compressing each take a pass over the rows; the bar is
    // gone before anything is said.
    std::optional<Image> image;
    bool written = false;
    {
        Progress progress(uint64_t{height} * 2);
        image = toImage(frame, bayer, error, [&progress](uint32_t rows) { progress.update(rows); });
        written = image && writePng(options.output, *image, error, [&progress, height](uint32_t rows) {
                      progress.update(uint64_t{height} + rows);
                  });
    }
    if (!image)
        return fail("{}: {}", options.input, error);
    if (!written)
        return failWith(2, "{}", error);
    fmt::print(stderr, "{}: {}x{} PNG from {} ({})\n", options.output, width, height, options.format,
               conversionNote(format, bayer));
    return 0;
}

} // namespace

void addRaw2PngCommand(CLI::App& app, Runner& runner)
{
    auto options = std::make_shared<Raw2PngOptions>();
    CLI::App* command = app.add_subcommand(
        "raw2png", "Convert a raw YUV, Y8/Y16 or RAW frame dump into a PNG");
    std::string names;
    for (const std::string& name : convertibleFormatNames())
        names += (names.empty() ? "" : ", ") + name;
    command->add_option("--format", options->format, "Pixel format: " + names)
        ->required()
        ->check([](const std::string& name) {
            return convertibleFormat(name) ? std::string() : "unknown format " + name;
        });
    command->add_option("--size", options->size, "Frame size WxH, e.g. 1920x1080")
        ->required()
        ->check([](const std::string& text) {
            uint32_t width = 0;
            uint32_t height = 0;
            return parseSize(text, width, height) ? std::string() : "expected " + kSizeLimit + ", not " + text;
        });
    command->add_option("--stride", options->stride,
                        "Bytes per row of the first plane (default: as the host allocator "
                        "lays the format out)")
        ->check(CLI::Range(uint32_t{1}, UINT32_MAX));
    command->add_option("--bayer", options->bayer,
                        "RAW colour filter, or grey for a grey image (default rggb)")
        ->transform(CLI::IsMember({"rggb", "grbg", "gbrg", "bggr", "grey"}, CLI::ignore_case));
    command->add_option("IN", options->input, "Raw dump")->required();
    command->add_option("OUT", options->output, "PNG to write, or - for standard output")->required();
    command->callback([&runner, options] { runner = [options] { return convert(*options); }; });
}

} // namespace tamo::tool

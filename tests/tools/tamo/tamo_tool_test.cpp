// The tamo tool end to end: each subcommand run as a process.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <png.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int status = -1; // exit status, -1 when killed by a signal
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class TamoTool : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() /
              ("tamo_tool_test_" + std::to_string(getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    Outcome tamo(const std::string& args)
    {
        // A pool that never gets its buffers back blocks for ever: bound the wait.
        const std::string command = "timeout 300 " + std::string(TAMO_TOOL) + " " + args + " >" +
                                    (dir / "out").string() + " 2>" + (dir / "err").string();
        const int raw = std::system(command.c_str());
        Outcome run;
        run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        run.out = slurp(dir / "out");
        run.err = slurp(dir / "err");
        return run;
    }

    std::string path(const std::string& name) const { return (dir / name).string(); }

    fs::path dir;
};

struct Png {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> rgb;

    const uint8_t* at(uint32_t x, uint32_t y) const { return &rgb[(size_t{y} * width + x) * 3]; }
};

Png decode(const std::string& path)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    Png png;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0)
        return png;
    image.format = PNG_FORMAT_RGB;
    png.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, png.rgb.data(), 0, nullptr) == 0)
        return png;
    png.width = image.width;
    png.height = image.height;
    return png;
}

void expectColour(const Png& png, uint32_t x, uint32_t y, uint8_t r, uint8_t g, uint8_t b)
{
    const uint8_t* p = png.at(x, y);
    EXPECT_NEAR(p[0], r, 3) << "red at " << x << "," << y;
    EXPECT_NEAR(p[1], g, 3) << "green at " << x << "," << y;
    EXPECT_NEAR(p[2], b, 3) << "blue at " << x << "," << y;
}

// Colour bars left to right, a black target with a white middle top left.
void expectTestPattern(const Png& png)
{
    static const uint8_t bars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                       {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    for (uint32_t i = 0; i < 8; i++)
        expectColour(png, png.width * (2 * i + 1) / 16, png.height / 2, bars[i][0], bars[i][1],
                     bars[i][2]);
    const uint32_t side = std::min(png.width, png.height) / 6;
    expectColour(png, 2, 2, 0, 0, 0);
    expectColour(png, side / 2, side / 2, 255, 255, 255);
}

void write(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

TEST_F(TamoTool, SessionSavesFramesThatRaw2PngReads)
{
    Outcome run = tamo("session --requests 70 --save-frames " + dir.string());
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "") << "the default run logs nothing";
    EXPECT_NE(run.out.find("camera 0 (cam0): 3 streams\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("requests done         70\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("buffers busy at end   0\n"), std::string::npos) << run.out;

    // Dumps hold every plane at the host allocator's stride.
    EXPECT_EQ(fs::file_size(path("preview_1920x1080_YCBCR_420_888.raw")), 1920u * 1080 * 3 / 2);
    EXPECT_EQ(fs::file_size(path("raw_4000x3000_raw16.raw")), 4000u * 3000 * 2);
    const std::string jpeg = slurp(path("jpeg_4000x3000_Jpeg.raw"));
    ASSERT_EQ(jpeg.size(), 4000u * 3000 * 3);
    const std::string text = "tamo test frame 69\n"; // the last request's
    EXPECT_EQ(jpeg.compare(0, text.size(), text), 0);
    uint16_t blobId = 0;
    uint32_t jpegSize = 0;
    std::memcpy(&blobId, jpeg.data() + jpeg.size() - 8, sizeof(blobId));
    std::memcpy(&jpegSize, jpeg.data() + jpeg.size() - 4, sizeof(jpegSize));
    EXPECT_EQ(blobId, 0x00FF);
    EXPECT_EQ(jpegSize, text.size());

    for (const char* name : {"preview_1920x1080_YCBCR_420_888", "raw_4000x3000_raw16"}) {
        SCOPED_TRACE(name);
        Png png = decode(path(std::string(name) + ".png"));
        ASSERT_EQ(png.width, name[0] == 'p' ? 1920u : 4000u);
        ASSERT_EQ(png.height, name[0] == 'p' ? 1080u : 3000u);
        expectTestPattern(png);
    }

    // The dump converts without geometry options, to the same picture.
    Outcome convert = tamo("raw2png --format ycbcr_420_888 --size 1920x1080 " +
                       path("preview_1920x1080_YCBCR_420_888.raw") + " " + path("again.png"));
    ASSERT_EQ(convert.status, 0) << convert.err;
    EXPECT_EQ(decode(path("again.png")).rgb, decode(path("preview_1920x1080_YCBCR_420_888.png")).rgb);
}

TEST_F(TamoTool, LongSessionHandsEveryBufferBack)
{
    Outcome run = tamo("session --requests 2000");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("requests done         2000\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("buffers busy at end   0\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("  stream 3  raw      raw16          4000x3000  4 buffers allocated\n"),
              std::string::npos)
        << run.out;
}

TEST_F(TamoTool, TagsListsPlatformThenFrameworkTags)
{
    Outcome text = tamo("tags");
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out.rfind("0x81000000  com.tamo.platform.sensor.sensorModeId", 0), 0u);
    EXPECT_NE(text.out.find("\n0x80010000  com.tolv.chi.override.CameraType                 byte\n"),
              std::string::npos);
    EXPECT_NE(text.out.find("\n116 vendor tags: 8 platform, 108 framework\n"), std::string::npos);

    Outcome json = tamo("tags --json");
    ASSERT_EQ(json.status, 0) << json.err;
    nlohmann::json tags = nlohmann::json::parse(json.out);
    ASSERT_EQ(tags.size(), 116u);
    std::set<std::string> numbers;
    for (const auto& tag : tags)
        numbers.insert(tag.at("number").get<std::string>());
    EXPECT_EQ(numbers.size(), 116u);
    EXPECT_EQ(tags[8], nlohmann::json({{"number", "0x80010000"},
                                       {"name", "com.tolv.chi.override.CameraType"},
                                       {"type", "byte"}}));
    EXPECT_EQ(tags[115].at("name"), "tolv.tamo.control.cameraType");
}

TEST_F(TamoTool, MetaDumpsWhatMakeWroteAndRefusesDamagedFiles)
{
    Outcome make = tamo("meta make --camera 0 " + path("cam0.meta"));
    ASSERT_EQ(make.status, 0) << make.err;
    Outcome dump = tamo("meta dump " + path("cam0.meta"));
    ASSERT_EQ(dump.status, 0) << dump.err;
    for (const char* line : {"0x80010000  Tag:com.tolv.chi.override.CameraType Type:byte\t"
                             "[ 99 97 109 48 ], ",
                             "0x000f0000  Tag:android.sensor.info.activeArraySize Type:int32\t"
                             "[ 8 8 4000 3000 ], "})
        EXPECT_NE(dump.out.find("\n" + std::string(line) + "\n"), std::string::npos) << dump.out;

    const std::string good = slurp(path("cam0.meta"));
    std::vector<uint8_t> bytes(good.begin(), good.end());
    uint32_t entriesStart = 0;
    std::memcpy(&entriesStart, bytes.data() + 20, sizeof(entriesStart));
    std::vector<std::vector<uint8_t>> damaged(3, bytes);
    damaged[0].resize(bytes.size() - 8);            // truncated
    damaged[1][12] = 0xFF;                          // more entries than room for them
    damaged[2][entriesStart + 12] = 9;              // an entry of no known type
    for (size_t i = 0; i < damaged.size(); i++) {
        SCOPED_TRACE(i);
        write(path("bad.meta"), damaged[i]);
        Outcome bad = tamo("meta dump " + path("bad.meta"));
        EXPECT_EQ(bad.status, 1);
        EXPECT_EQ(bad.out, "");
        EXPECT_EQ(bad.err, "tamo: " + path("bad.meta") + ": not a valid camera metadata buffer (" +
                               std::to_string(damaged[i].size()) + " bytes)\n");
    }
    fs::resize_file(path("bad.meta"), 65u << 20);
    Outcome huge = tamo("meta dump " + path("bad.meta"));
    EXPECT_EQ(huge.status, 1);
    EXPECT_NE(huge.err.find("too big"), std::string::npos) << huge.err;

    Outcome none = tamo("meta make --camera 9 " + path("none.meta"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "tamo: the platform has no camera 9\n");
}

TEST_F(TamoTool, Raw2PngUnpacksAndRefusesShortFiles)
{
    // NV21 2x2 of pure red, at a stride of 32: Y, then Cr before Cb.
    std::vector<uint8_t> nv21(32 * 3, 0);
    nv21[0] = nv21[1] = nv21[32] = nv21[33] = 76;
    nv21[64] = 255; // Cr
    nv21[65] = 85;  // Cb
    write(path("red.nv21"), nv21);
    Outcome red = tamo("raw2png --format NV21 --size 2x2 --stride 32 " + path("red.nv21") + " " +
                   path("red.png"));
    ASSERT_EQ(red.status, 0) << red.err;
    Png png = decode(path("red.png"));
    ASSERT_EQ(png.width, 2u);
    expectColour(png, 1, 1, 255, 0, 0);

    // RAW10 8x1, samples 3 2 1 0 4 8 0 0, four to five bytes: their high
    // bits, then their low bits, the first sample's lowest; rows of 16 bytes.
    std::vector<uint8_t> raw10 = {0, 0, 0, 0, 0x3 | 0x2 << 2 | 0x1 << 4, 1, 2, 0, 0, 0};
    raw10.resize(16);
    write(path("grey.raw10"), raw10);
    Outcome grey = tamo("raw2png --format raw10 --size 8x1 --bayer grey " + path("grey.raw10") + " " +
                    path("grey.png"));
    ASSERT_EQ(grey.status, 0) << grey.err;
    png = decode(path("grey.png"));
    ASSERT_EQ(png.width, 8u);
    const uint8_t levels[8] = {95, 63, 31, 0, 127, 255, 0, 0}; // the brightest is white
    for (uint32_t x = 0; x < 8; x++)
        EXPECT_EQ(png.at(x, 0)[0], levels[x]) << x;

    raw10.pop_back();
    write(path("short.raw10"), raw10);
    Outcome shortFile = tamo("raw2png --format raw10 --size 8x1 " + path("short.raw10") + " " +
                         path("short.png"));
    EXPECT_EQ(shortFile.status, 1);
    EXPECT_EQ(shortFile.err, "tamo: " + path("short.raw10") +
                                 ": 15 bytes, too short: 8x1 raw10 at stride 16 takes 16\n");
    EXPECT_FALSE(fs::exists(path("short.png")));
}

} // namespace

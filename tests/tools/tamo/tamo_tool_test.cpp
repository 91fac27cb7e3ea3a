// The tamo tool end to end: each subcommand run as a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <png.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

struct Outcome {
    int status = -1; // exit status, -1 when killed by a signal
    std::string out, err;
};

struct Png {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgb;
    const uint8_t* at(uint32_t x, uint32_t y) const { return &rgb[(size_t{y} * width + x) * 3]; }
};

void expectColour(const Png& png, uint32_t x, uint32_t y, std::vector<int> rgb)
{
    const uint8_t* p = png.at(x, y);
    for (int c = 0; c < 3; c++)
        EXPECT_NEAR(p[c], rgb[c], 3) << "channel " << c << " at " << x << "," << y;
}

// Runs the tool in a directory of its own; file names are relative to it.
class TamoTool : public ::testing::Test {
protected:
    TamoTool() { fs::create_directories(dir); }
    ~TamoTool() override { fs::remove_all(dir); }

    // `shell` goes before the tool: a limit, an environment variable.
    Outcome tamo(const std::string& args, const std::string& shell = "")
    {
        // A pool that never gets its buffers back blocks for ever: bound the wait.
        const std::string command =
            "cd " + dir.string() + " && " + shell + " timeout 300 " TAMO_TOOL " " + args + " >out 2>err";
        const int raw = std::system(command.c_str());
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp("out"), slurp("err")};
    }

    std::string slurp(const std::string& name)
    {
        std::ifstream in(dir / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    void write(const std::string& name, const std::string& bytes)
    {
        std::ofstream(dir / name, std::ios::binary) << bytes;
    }

    Png decode(const std::string& name)
    {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        Png png;
        if (png_image_begin_read_from_file(&image, (dir / name).c_str()) != 0) {
            image.format = PNG_FORMAT_RGB;
            png.rgb.resize(PNG_IMAGE_SIZE(image));
            if (png_image_finish_read(&image, nullptr, png.rgb.data(), 0, nullptr) != 0)
                png.width = image.width, png.height = image.height;
        }
        return png;
    }

    const fs::path dir = fs::temp_directory_path() / ("tamo_tool_test_" + std::to_string(getpid()) + "_" +
                                                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

// Camera 0 is complete, more than the framework's characteristics cache
// takes: the library says so, then the tool what it uses instead. What
// stderr says after that; "not refused: ..." when it does not start so.
std::string afterRefusal(const std::string& err)
{
    // Two lines; the library's carries its source line, the tool's a size.
    const std::string said[] = {"E/tamo: VendorTagMgr.cpp:", " operator()() updat Characteristics fail\n",
                                "tamo: warning: camera 0: the framework's characteristics cache does not take its ",
                                " data bytes; the platform's static metadata is used, without the framework's tags\n"};
    size_t at = 0;
    for (int line = 0; line < 2; line++) {
        const std::string& head = said[2 * line];
        const std::string& tail = said[2 * line + 1];
        const size_t end = err.find(tail, at);
        if (err.compare(at, head.size(), head) != 0 || end == std::string::npos ||
            err.find_first_not_of("0123456789", at + head.size()) != end)
            return "not refused: " + err;
        at = end + tail.size();
    }
    return err.substr(at);
}

// One run covers a long session, which must hand every buffer back, and the
// last request's frames saved raw with a PNG beside each non-blob dump.
TEST_F(TamoTool, SessionHandsEveryBufferBackAndSavesTheLastFrames)
{
    Outcome run = tamo("session --requests 2000 --save-frames .");
    ASSERT_EQ(run.status, 0) << run.err;
    // Camera 0 is complete, more than the framework's cache takes: the
    // library says so, and the tool says what it uses instead. Nothing else.
    EXPECT_EQ(afterRefusal(run.err), "") << "the default run logs nothing else";
    for (const char* line : {"camera 0: 3 streams\n", "requests done         2000\n",
                             "buffers busy at end   0\n",
                             "  stream 3  raw      raw16          4000x3000  4 buffers allocated\n"})
        EXPECT_THAT(run.out, HasSubstr(line));

    // Dumps hold every plane at the host allocator's stride.
    EXPECT_EQ(fs::file_size(dir / "preview_1920x1080_YCBCR_420_888.raw"), 1920u * 1080 * 3 / 2);
    EXPECT_EQ(fs::file_size(dir / "raw_4000x3000_raw16.raw"), 4000u * 3000 * 2);
    EXPECT_FALSE(fs::exists(dir / "jpeg_4000x3000_Jpeg.png"));
    const std::string jpeg = slurp("jpeg_4000x3000_Jpeg.raw");
    ASSERT_EQ(jpeg.size(), 4000u * 3000 * 3);
    const std::string text = "tamo test frame 1999\n";
    EXPECT_EQ(jpeg.compare(0, text.size(), text), 0);
    struct { uint16_t id; uint32_t size; } blob{}; // the platform's trailer: what the JPEG takes
    std::memcpy(&blob, jpeg.data() + jpeg.size() - sizeof(blob), sizeof(blob));
    EXPECT_EQ(std::make_pair(blob.id, blob.size), std::make_pair(uint16_t{0x00FF}, uint32_t(text.size())));

    // Colour bars left to right, under a black target with a white middle.
    static const std::vector<int> bars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                             {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    for (const std::string name : {"preview_1920x1080_YCBCR_420_888", "raw_4000x3000_raw16"}) {
        SCOPED_TRACE(name);
        Png png = decode(name + ".png");
        ASSERT_EQ(png.width * png.height, name[0] == 'p' ? 1920u * 1080 : 4000u * 3000);
        for (uint32_t i = 0; i < 8; i++)
            expectColour(png, png.width * (2 * i + 1) / 16, png.height / 2, bars[i]);
        expectColour(png, 2, 2, {0, 0, 0});
        expectColour(png, png.height / 12, png.height / 12, {255, 255, 255});
    }

    // The dump converts without geometry options, to the same picture.
    ASSERT_EQ(tamo("raw2png --format ycbcr_420_888 --size 1920x1080 preview_1920x1080_YCBCR_420_888.raw again.png")
                      .status, 0);
    EXPECT_EQ(decode("again.png").rgb, decode("preview_1920x1080_YCBCR_420_888.png").rgb);

    // On a terminal, work past a second shows a bar of its rows, converted
    // then compressed; a machine that is done sooner has nothing to show.
    const std::string onTerminal = "cd " + dir.string() + " && script -qec '" TAMO_TOOL
                                   " raw2png --format raw16 --size 4000x3000 raw_4000x3000_raw16.raw raw.png' "
                                   "/dev/null >tty";
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(std::system(onTerminal.c_str()), 0);
    if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(1500)) {
        EXPECT_THAT(slurp("tty"), HasSubstr("/6000\r"));
    }
}

TEST_F(TamoTool, TagsListsPlatformThenFrameworkTags)
{
    const std::string text = tamo("tags").out;
    EXPECT_EQ(text.rfind("0x81000000  com.tamo.platform.sensor.sensorModeId            int32\n", 0), 0u) << text;
    EXPECT_THAT(text, HasSubstr("\n116 vendor tags: 8 platform, 108 framework\n"));
    nlohmann::json tags = nlohmann::json::parse(tamo("tags --json").out);
    ASSERT_EQ(tags.size(), 116u);
    EXPECT_EQ(tags[8], nlohmann::json({{"number", "0x80010000"}, {"name", "com.tolv.chi.override.CameraType"},
                                       {"type", "byte"}}));
}

TEST_F(TamoTool, Raw2PngUnpacksNv21AndRaw10)
{
    // NV21 2x2 of pure red, at a stride of 32: Y, then Cr before Cb.
    std::string nv21(32 * 3, '\0');
    nv21[0] = nv21[1] = nv21[32] = nv21[33] = 76;
    nv21[64] = char(255), nv21[65] = 85;
    write("red.nv21", nv21);
    ASSERT_EQ(tamo("raw2png --format NV21 --size 2x2 --stride 32 red.nv21 red.png").status, 0);
    Png png = decode("red.png");
    ASSERT_EQ(png.width, 2u);
    expectColour(png, 1, 1, {255, 0, 0});

    // RAW10 8x1, samples 3 2 1 0 4 8 0 0, four to five bytes: their high
    // bits, then their low bits, the first sample's lowest; rows of 64 bytes.
    write("grey.raw10", std::string{0, 0, 0, 0, 0x3 | 0x2 << 2 | 0x1 << 4, 1, 2, 0, 0, 0}.append(54, '\0'));
    ASSERT_EQ(tamo("raw2png --format raw10 --size 8x1 --bayer grey grey.raw10 grey.png").status, 0);
    png = decode("grey.png");
    ASSERT_EQ(png.width, 8u);
    const uint8_t levels[8] = {95, 63, 31, 0, 127, 255, 0, 0}; // the brightest is white
    for (uint32_t x = 0; x < 8; x++)
        EXPECT_EQ(png.at(x, 0)[0], levels[x]) << x;
}

// A rear camera in the emulated camera HAL's JSON: every type, labels (one
// that looks like a number), negative numbers, vendor tags of both kinds.
const std::string kBack = R"({
  "android.lens.facing": ["BACK"],
  "android.scaler.rotateAndCrop": ["90"],
  "android.sensor.orientation": ["-90"],
  "android.scaler.availableStreamConfigurations": ["34", "1920", "1080", "OUTPUT"],
  "android.lens.info.availableFocalLengths": ["4.71", "1e-07"],
  "android.sensor.info.exposureTimeRange": ["-1", "9000000000"],
  "android.jpeg.gpsCoordinates": ["0.1", "-33.8688"],
  "android.sensor.forwardMatrix1": ["1", "2", "-3", "4"],
  "tolv.control.zoom_ratio": ["2.5"],
  "com.tamo.platform.isp.noiseModel": ["1e-300"]
})";

// Which damage is caught is the libraries' business; the tool answers each
// refusal with one line, a non-zero status and no output file.
TEST_F(TamoTool, MetaRoundTripsThroughJsonDiffsAndRefusesWithOneLine)
{
    nlohmann::json front = nlohmann::json::parse(kBack);
    front["android.lens.facing"] = {"FRONT"};
    front.erase("android.jpeg.gpsCoordinates");
    front["android.flash.info.available"] = {"FALSE"};
    write("cams.json", "[" + kBack + "," + front.dump() + "]");
    ASSERT_EQ(tamo("meta make --from-json cams.json back.meta").status, 0);
    ASSERT_EQ(tamo("meta make --from-json cams.json --index 1 front.meta").status, 0);

    EXPECT_EQ(nlohmann::json::parse(tamo("meta dump --json back.meta").out), nlohmann::json::parse(kBack));
    const std::string text = tamo("meta dump back.meta").out;
    for (const char* line : {": 288 bytes, 10 entries (room for 10), 80 data bytes (room for 80)\n",
                             "\n0x000d0011  Tag:android.scaler.rotateAndCrop Type:byte\t[ 1 ], \n",
                             "\n0x80020009  Tag:tolv.control.zoom_ratio Type:float\t[ 2.500000 ], \n"})
        EXPECT_THAT(text, HasSubstr(line));

    Outcome diff = tamo("meta diff back.meta front.meta");
    EXPECT_EQ(diff.status, 1) << diff.err;
    EXPECT_EQ(diff.out, "--- back.meta\n+++ front.meta\n"
                        "+ android.flash.info.available [ FALSE ]\n"
                        "- android.jpeg.gpsCoordinates [ 0.1 -33.8688 ]\n"
                        "- android.lens.facing [ BACK ]\n"
                        "+ android.lens.facing [ FRONT ]\n"
                        "1 only in back.meta, 1 only in front.meta, 1 with other values\n");

    // A whole camera, framework tags included, through JSON and back.
    ASSERT_EQ(tamo("meta make --camera 0 cam0.meta").status, 0);
    write("cam0.json", tamo("meta dump --json cam0.meta").out);
    ASSERT_EQ(tamo("meta make --from-json cam0.json again.meta").status, 0);
    Outcome same = tamo("meta diff cam0.meta again.meta");
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out + same.err, "");

    const std::string good = slurp("cam0.meta");
    write("bad.meta", good.substr(0, good.size() - 8));
    write("huge.meta", "");
    fs::resize_file(dir / "huge.meta", 65u << 20);
    write("short.raw10", std::string(63, '\0'));
    write("bad.json", "{\"android.lens.facing\": [\"BACK\"],\n \"x\": }");
    write("wrong.json", R"([{"android.lens.facin": ["BACK"]}, {"android.sensor.orientation": ["9x"]},
                           {"android.sensor.forwardMatrix1": ["1", "2", "3"]}])");
    const std::string badSize = std::to_string(good.size() - 8);
    const struct {
        std::string args, reason;
        int status = 1;
    } refused[] = {
        {"meta dump bad.meta", "bad.meta: not a valid camera metadata buffer (" + badSize + " bytes)\n"},
        {"meta dump huge.meta", "huge.meta: 68157440 bytes, too big for camera metadata"},
        {"meta make --camera 9 none.meta", "the platform has no camera 9\n"},
        {"raw2png --format raw10 --size 8x1 short.raw10 short.png",
         "short.raw10: 63 bytes, too short: 8x1 raw10 at stride 64 takes 64\n"},
        {"meta make --from-json bad.json none.meta", "bad.json: not JSON: line 2, column 7: "},
        {"meta make --from-json wrong.json none.meta", "wrong.json: [0].android.lens.facin: no such tag\n"},
        {"meta make --from-json wrong.json --index 1 none.meta",
         "wrong.json: [1].android.sensor.orientation[0]: '9x' is not a value of type int32\n"},
        {"meta make --from-json wrong.json --index 2 none.meta",
         "wrong.json: [2].android.sensor.forwardMatrix1[2]: a rational without its denominator (odd length 3)\n"},
        {"meta diff cam0.meta bad.meta", "bad.meta: not a valid camera metadata buffer (" + badSize + " bytes)\n", 2},
    };
    for (const auto& [args, reason, status] : refused) {
        Outcome bad = tamo(args);
        EXPECT_EQ(bad.status, status) << args;
        EXPECT_EQ(bad.out, "") << args;
        EXPECT_EQ(bad.err.rfind("tamo: " + reason, 0), 0u) << bad.err;
        EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1) << bad.err;
    }
    EXPECT_FALSE(fs::exists(dir / "none.meta") || fs::exists(dir / "short.png"));

    Outcome skipped = tamo("meta make --from-json wrong.json --skip-unknown empty.meta");
    EXPECT_EQ(skipped.status, 0);
    EXPECT_EQ(skipped.err, "tamo: warning: wrong.json: [0].android.lens.facin: no such tag, skipped\n"
                           "empty.meta: wrong.json[0], 48 bytes, 0 entries\n");
    EXPECT_EQ(fs::file_size(dir / "empty.meta"), 48u);
}

// A FULL camera with RAW, manual control and burst that breaks no rule.
nlohmann::json completeCamera()
{
    using S = std::vector<std::string>;
    auto fours = [](std::vector<S> rows) {
        S all;
        for (const S& row : rows)
            all.insert(all.end(), row.begin(), row.end());
        return all;
    };
    const S matrix = {"1", "1", "0", "1", "0", "1", "0", "1", "1", "1", "0", "1", "0", "1", "0", "1", "1", "1"};
    return {
        {"android.info.supportedHardwareLevel", S{"FULL"}},
        {"android.request.availableCapabilities",
         S{"BACKWARD_COMPATIBLE", "MANUAL_SENSOR", "MANUAL_POST_PROCESSING", "RAW", "BURST_CAPTURE"}},
        {"android.lens.facing", S{"BACK"}},
        {"android.colorCorrection.availableAberrationModes", S{"0", "1"}},
        {"android.control.availableModes", S{"0", "1"}},
        {"android.control.aeAvailableAntibandingModes", S{"3"}},
        {"android.control.aeAvailableModes", S{"0", "1", "2", "3"}},
        {"android.control.aeAvailableTargetFpsRanges", S{"15", "30", "30", "30"}},
        {"android.control.aeCompensationRange", S{"-6", "6"}},
        {"android.control.aeCompensationStep", S{"1", "3"}},
        {"android.control.aeLockAvailable", S{"TRUE"}},
        {"android.control.afAvailableModes", S{"0", "1"}},
        {"android.control.availableEffects", S{"0"}},
        {"android.control.availableSceneModes", S{"0"}},
        {"android.control.availableVideoStabilizationModes", S{"0"}},
        {"android.control.awbAvailableModes", S{"0", "1"}},
        {"android.control.awbLockAvailable", S{"TRUE"}},
        {"android.control.maxRegions", S{"1", "0", "1"}},
        {"android.flash.info.available", S{"TRUE"}},
        {"android.jpeg.availableThumbnailSizes", S{"0", "0", "160", "120"}},
        {"android.lens.info.availableFocalLengths", S{"4.5"}},
        {"android.lens.info.availableOpticalStabilization", S{"0"}},
        {"android.lens.info.minimumFocusDistance", S{"10"}},
        {"android.lens.info.hyperfocalDistance", S{"0.1"}},
        {"android.lens.info.availableApertures", S{"1.8"}},
        {"android.lens.info.availableFilterDensities", S{"0"}},
        {"android.lens.info.focusDistanceCalibration", S{"APPROXIMATE"}},
        {"android.noiseReduction.availableNoiseReductionModes", S{"0", "1"}},
        {"android.edge.availableEdgeModes", S{"0", "1"}},
        {"android.request.maxNumOutputStreams", S{"1", "3", "2"}},
        {"android.request.partialResultCount", S{"1"}},
        {"android.request.pipelineMaxDepth", S{"4"}},
        {"android.scaler.availableMaxDigitalZoom", S{"4"}},
        {"android.scaler.croppingType", S{"CENTER_ONLY"}},
        {"android.scaler.availableStreamConfigurations",
         fours({{"33", "4000", "3000", "OUTPUT"}, {"35", "4000", "3000", "OUTPUT"}, {"35", "1920", "1080", "OUTPUT"},
                {"34", "1920", "1080", "OUTPUT"}, {"32", "4000", "3000", "OUTPUT"}})},
        {"android.scaler.availableMinFrameDurations",
         fours({{"33", "4000", "3000", "33333333"}, {"35", "4000", "3000", "33333333"},
                {"35", "1920", "1080", "33333333"}, {"34", "1920", "1080", "33333333"},
                {"32", "4000", "3000", "50000000"}})},
        {"android.scaler.availableStallDurations",
         fours({{"33", "4000", "3000", "20000000"}, {"32", "4000", "3000", "20000000"}})},
        {"android.sensor.info.activeArraySize", S{"0", "0", "4000", "3000"}},
        {"android.sensor.info.preCorrectionActiveArraySize", S{"0", "0", "4000", "3000"}},
        {"android.sensor.info.pixelArraySize", S{"4032", "3024"}},
        {"android.sensor.info.physicalSize", S{"6.4", "4.8"}},
        {"android.sensor.info.timestampSource", S{"REALTIME"}},
        {"android.sensor.info.exposureTimeRange", S{"1000", "300000000"}},
        {"android.sensor.info.maxFrameDuration", S{"300000000"}},
        {"android.sensor.info.sensitivityRange", S{"100", "1600"}},
        {"android.sensor.info.whiteLevel", S{"1023"}},
        {"android.sensor.info.colorFilterArrangement", S{"RGGB"}},
        {"android.sensor.maxAnalogSensitivity", S{"800"}},
        {"android.sensor.blackLevelPattern", S{"64", "64", "64", "64"}},
        {"android.sensor.calibrationTransform1", matrix},
        {"android.sensor.colorTransform1", matrix},
        {"android.sensor.forwardMatrix1", matrix},
        {"android.sensor.referenceIlluminant1", S{"D65"}},
        {"android.sensor.orientation", S{"90"}},
        {"android.shading.availableModes", S{"0", "1"}},
        {"android.tonemap.availableToneMapModes", S{"0", "1", "2"}},
        {"android.tonemap.maxCurvePoints", S{"64"}},
        {"android.hotPixel.availableHotPixelModes", S{"0", "1"}},
        {"android.statistics.info.availableFaceDetectModes", S{"0"}},
        {"android.statistics.info.availableHotPixelMapModes", S{"0"}},
        {"android.statistics.info.availableLensShadingMapModes", S{"0"}},
        {"android.statistics.info.maxFaceCount", S{"0"}},
        {"android.sync.maxLatency", S{"PER_FRAME_CONTROL"}},
    };
}

// The complete camera passes; each mutation, grouped by family, gives its
// rule's finding and exit status 1. The key lists name the tags the tool
// itself numbers in a dump.
TEST_F(TamoTool, MetaCheckPassesACompleteCameraAndFindsEachMutation)
{
    nlohmann::json camera = completeCamera();
    write("bare.json", camera.dump());
    ASSERT_EQ(tamo("meta make --from-json bare.json bare.meta").status, 0);
    std::vector<std::string> keys;
    std::string lensFacing;
    std::istringstream dump(tamo("meta dump bare.meta").out);
    for (std::string line; std::getline(dump, line);) {
        if (line.rfind("0x", 0) != 0)
            continue;
        keys.push_back(std::to_string(std::stoul(line.substr(0, 10), nullptr, 16)));
        if (line.find("Tag:android.lens.facing ") != std::string::npos)
            lensFacing = keys.back();
    }
    for (const char* list : {"android.request.availableCharacteristicsKeys", "android.request.availableRequestKeys",
                             "android.request.availableResultKeys"})
        camera[list] = keys;
    write("cam.json", camera.dump());
    ASSERT_EQ(tamo("meta make --from-json cam.json cam.meta").status, 0);

    Outcome pass = tamo("meta check cam.meta");
    EXPECT_EQ(pass.status, 0) << pass.out;
    EXPECT_EQ(pass.out, "cam.meta: 0 error(s), 0 warning(s)\n");

    using Change = std::function<void(nlohmann::json&)>;
    auto erase = [](const char* key) { return Change([key](nlohmann::json& c) { c.erase(key); }); };
    auto set = [](const char* key, std::vector<std::string> values) {
        return Change([key, values](nlohmann::json& c) { c[key] = values; });
    };
    const struct {
        const char* family;
        Change change;
        std::string finding; // a warning or none exits 0
    } mutations[] = {
        {"presence", erase("android.lens.facing"), "error: android.lens.facing: absent [presence.every]"},
        {"presence", erase("android.sensor.info.physicalSize"),
         "error: android.sensor.info.physicalSize: absent [presence.optics]"},
        {"presence", erase("android.sensor.info.exposureTimeRange"),
         "error: android.sensor.info.exposureTimeRange: absent [presence.manual-sensor]"},
        {"presence", erase("android.sensor.info.whiteLevel"),
         "error: android.sensor.info.whiteLevel: absent [presence.raw]"},
        {"presence", set("android.request.availableCapabilities", {"BACKWARD_COMPATIBLE", "DEPTH_OUTPUT"}),
         "error: android.depth.depthIsExclusive: absent [presence.depth-output]"},
        {"presence", set("android.request.availableCapabilities", {"LOGICAL_MULTI_CAMERA"}),
         "error: android.logicalMultiCamera.sensorSyncType: absent [presence.logical-multi-camera]"},
        {"types and counts", set("android.sensor.info.activeArraySize", {"0", "0", "4000"}),
         "error: android.sensor.info.activeArraySize: 3 values, not 4 [count.four]"},
        {"types and counts", set("android.control.aeCompensationRange", {"-6"}),
         "error: android.control.aeCompensationRange: 1 values, not 2 [count.two]"},
        {"types and counts", set("android.scaler.availableStallDurations", {"33", "4000", "3000"}),
         "error: android.scaler.availableStallDurations: 3 values, not whole tuples of 4 [tuple.four]"},
        {"types and counts", set("android.control.aeAvailableTargetFpsRanges", {"15", "30", "30"}),
         "error: android.control.aeAvailableTargetFpsRanges: 3 values, not whole tuples of 2 [tuple.two]"},
        {"values", set("android.lens.facing", {"255"}),
         "error: android.lens.facing: [0] 255 has no label [value.enum]"},
        {"values", set("android.sensor.orientation", {"45"}),
         "error: android.sensor.orientation: 45 is not one of 0, 90, 180, 270 [value.orientation]"},
        {"values", set("android.control.aeCompensationRange", {"1", "6"}),
         "error: android.control.aeCompensationRange: (1, 6) does not contain 0 [value.ae-compensation-zero]"},
        {"values", set("android.sensor.info.sensitivityRange", {"1600", "100"}),
         "error: android.sensor.info.sensitivityRange: (1600, 100): min above max [value.ordered]"},
        {"values", set("android.control.aeAvailableTargetFpsRanges", {"0", "30"}),
         "error: android.control.aeAvailableTargetFpsRanges: [0] 0 is below 1 [value.fps-positive]"},
        {"values", set("android.control.awbLockAvailable", {"FALSE"}),
         "error: android.control.awbLockAvailable: FALSE [value.burst-locks]"},
        {"values", set("android.control.availableSceneModes", {"0", "100"}), "mutant.json: 0 error(s), 0 warning(s)"},
        {"consistency",
         [](nlohmann::json& c) {
             auto& durations = c["android.scaler.availableMinFrameDurations"];
             durations.erase(durations.begin(), durations.begin() + 4);
         },
         "error: android.scaler.availableMinFrameDurations: no entry for output BLOB 4000x3000 "
         "[consistency.min-frame-duration]"},
        {"consistency",
         [&](nlohmann::json& c) {
             auto& listed = c["android.request.availableCharacteristicsKeys"];
             listed.erase(std::find(listed.begin(), listed.end(), lensFacing));
         },
         "error: android.request.availableCharacteristicsKeys, android.lens.facing: android.lens.facing is carried "
         "but not listed [consistency.mandatory-listed]"},
        {"consistency", set("android.sensor.info.activeArraySize", {"100", "0", "4000", "3000"}),
         "error: android.sensor.info.activeArraySize, android.sensor.info.pixelArraySize: (100, 0, 4000, 3000) is "
         "not inside 4032x3024 [consistency.active-array]"},
        {"consistency", set("android.control.aeAvailableModes", {"0", "2", "3"}),
         "error: android.control.aeAvailableModes: no ON [consistency.ae-modes]"},
        {"consistency", set("android.flash.info.available", {"FALSE"}),
         "error: android.control.aeAvailableModes, android.flash.info.available: ON_AUTO_FLASH without a flash "
         "[consistency.flash-modes]"},
        {"consistency", set("android.scaler.availableStreamConfigurations", {"33", "4000", "3000", "OUTPUT"}),
         "error: android.scaler.availableStreamConfigurations: no YUV_420_888 output [consistency.outputs]"},
        {"consistency",
         [](nlohmann::json& c) {
             c["android.request.availableCapabilities"].push_back("LOGICAL_MULTI_CAMERA");
             c["android.logicalMultiCamera.physicalIds"] = {"50", "0", "50", "0"};
             c["android.logicalMultiCamera.sensorSyncType"] = {"CALIBRATED"};
         },
         "error: android.logicalMultiCamera.physicalIds: 1 distinct camera id(s), not at least 2 "
         "[consistency.physical-ids]"},
        {"consistency", set("android.scaler.availableStallDurations", {"32", "4000", "3000", "20000000"}),
         "warning: android.scaler.availableStallDurations: no entry for output BLOB 4000x3000 "
         "[consistency.stall-duration]"},
    };
    for (const auto& [family, change, finding] : mutations) {
        nlohmann::json mutant = camera;
        change(mutant);
        write("mutant.json", mutant.dump());
        Outcome run = tamo("meta check --from-json mutant.json");
        EXPECT_EQ(run.status, finding.rfind("error", 0) == 0 ? 1 : 0) << family << ": " << finding;
        EXPECT_THAT(run.out, HasSubstr(finding + "\n")) << family;
        EXPECT_EQ(run.err, "") << family;
    }

    // A depth-only camera answers to the depth rules, not to an app's.
    nlohmann::json depth = camera;
    depth["android.request.availableCapabilities"] = {"DEPTH_OUTPUT"};
    depth["android.info.supportedHardwareLevel"] = {"LIMITED"};
    depth.erase("android.scaler.availableStreamConfigurations");
    depth.erase("android.lens.info.hyperfocalDistance");
    write("depth.json", depth.dump());
    Outcome depthRun = tamo("meta check --from-json depth.json");
    EXPECT_EQ(depthRun.status, 1);
    EXPECT_THAT(depthRun.out, HasSubstr("error: android.depth.availableDepthStreamConfigurations: absent "
                                        "[presence.depth-output]\n"));
    EXPECT_THAT(depthRun.out, HasSubstr("error: android.lens.info.hyperfocalDistance: absent [presence.limited]\n"));
    for (const char* rule : {"[presence.backward-compatible]", "[consistency.outputs]", "[presence.raw]"})
        EXPECT_THAT(depthRun.out, testing::Not(HasSubstr(rule)));

    // The same findings as JSON; trouble reading the camera is status 2.
    nlohmann::json facingless = camera;
    facingless.erase("android.lens.facing");
    write("mutant.json", facingless.dump());
    Outcome json = tamo("meta check --json --from-json mutant.json");
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(nlohmann::json::parse(json.out).at(0),
              nlohmann::json({{"severity", "error"}, {"rule", "presence.every"}, {"keys", {"android.lens.facing"}},
                              {"message", "absent"}}));
    for (const char* trouble : {"meta check missing.meta", "meta check --camera 9", "meta check --from-json cam.meta"}) {
        Outcome run = tamo(trouble);
        EXPECT_EQ(run.status, 2) << trouble;
        EXPECT_EQ(run.out, "") << trouble;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

// The host platform's cameras are as complete as a device's: each passes the
// checker, its physical members included, and plays a session of the streams
// it offers (RAW16 only on the RAW cameras, 0 and 4).
TEST_F(TamoTool, HostCamerasPassTheCheckAndPlayTheirStreams)
{
    for (int id = 0; id < 9; id++) {
        SCOPED_TRACE(id);
        const std::string camera = std::to_string(id);
        Outcome check = tamo("meta check --camera " + camera);
        EXPECT_EQ(check.status, 0) << check.out;
        EXPECT_THAT(check.out, testing::EndsWith("camera " + camera + ": 0 error(s), 0 warning(s)\n"));
        ASSERT_EQ(tamo("meta make --camera " + camera + " cam.meta").status, 0);
        const std::string dump = tamo("meta dump cam.meta").out;
        EXPECT_GE(std::count(dump.begin(), dump.end(), '\n'), 80);

        const bool raw = id == 0 || id == 4;
        Outcome session = tamo("session --requests 8 --camera " + camera + (raw ? "" : " --streams preview,jpeg"));
        EXPECT_EQ(session.status, 0) << session.err;
        EXPECT_THAT(session.out, HasSubstr("camera " + camera + ": " + (raw ? "3" : "2") + " streams\n"));
        EXPECT_THAT(session.out, HasSubstr("buffers busy at end   0\n"));
    }
    Outcome noRaw = tamo("session --requests 1 --camera 1");
    EXPECT_EQ(noRaw.status, 1);
    EXPECT_THAT(noRaw.err, HasSubstr("camera 1 offers no raw stream size"));
}

// What the emulated camera HAL's files hold is read as its reader reads it;
// what an attacker writes costs little time, stack or message.
TEST_F(TamoTool, MetaReadsJsonAsTheHalDoesAndCheaply)
{
    write("commas.json", "[{\"android.lens.facing\": [\"FRONT\",],\n \"android.sensor.orientation\": [\"270\",\n ],\n},]");
    ASSERT_EQ(tamo("meta make --from-json commas.json commas.meta").status, 0);
    EXPECT_EQ(nlohmann::json::parse(tamo("meta dump --json commas.meta").out),
              nlohmann::json::parse(R"({"android.lens.facing": ["FRONT"], "android.sensor.orientation": ["270"]})"));

    const std::string caps = R"({"android.request.availableCapabilities": ["BACKWARD_COMPATIBLE", "DYNAMIC_RANGE_TEN_BIT", "RAW"]})";
    write("caps.json", caps);
    write("twice.json", R"({"android.lens.facing": ["FRONT"], "android.lens.facing": ["BACK"]})");
    write("deep.json", std::string(70000, '[') + std::string(70000, ']'));
    std::string wide = "{\"android.sensor.orientation\": [[";
    for (int i = 0; i < 1000000; i++)
        wide += i == 0 ? "0" : ",0";
    write("wide.json", wide + "]]}");
    write("long.json", "{\"android.sensor.orientation\": [\"" + std::string(100000, '7') + "\"]}");
    write("trail.json", "{\"android.lens.facing\": [\"FRONT\"]} {}");
    write("types.json", R"({"0x8001fffe:int32": ["1"], "0x8001fffe:byte": ["1"]})");
    const std::pair<std::string, std::string> refused[] = {
        {"caps.json", "caps.json: android.request.availableCapabilities[1]: 'DYNAMIC_RANGE_TEN_BIT' is not an API "
                      "level 30 value of android.request.availableCapabilities\n"},
        {"twice.json", "twice.json: not JSON: line 1, column 36: Duplicate key: 'android.lens.facing'\n"},
        {"deep.json", "deep.json: not JSON: nested deeper than 64\n"},
        {"wide.json", "wide.json: android.sensor.orientation[0]: an array of 1000000 is not a string\n"},
        {"long.json", "long.json: android.sensor.orientation[0]: '" + std::string(80, '7') + "...' is not a value of type int32\n"},
        {"trail.json", "trail.json: not JSON: line 1, column 36: Extra non-whitespace after JSON value.\n"},
        {"types.json", "types.json: 0x8001fffe:int32: another type than the tag's other keys give it\n"},
    };
    for (const auto& [file, reason] : refused) {
        Outcome bad = tamo("meta make --from-json " + file + " none.meta");
        EXPECT_EQ(bad.status, 1) << file;
        EXPECT_EQ(bad.err, "tamo: " + reason);
    }
    Outcome skipped = tamo("meta make --from-json caps.json --skip-unknown caps.meta");
    EXPECT_EQ(skipped.status, 0);
    EXPECT_THAT(skipped.err, HasSubstr("tamo: warning: " + refused[0].second.substr(0, refused[0].second.size() - 1) + ", skipped\n"));
    EXPECT_EQ(nlohmann::json::parse(tamo("meta dump --json caps.meta").out)["android.request.availableCapabilities"],
              nlohmann::json::parse(R"(["BACKWARD_COMPATIBLE", "RAW"])"));

    // Keys are found in constant time: quadratic lookups took seconds here.
    std::string many = "{";
    for (int i = 0; i < 100000; i++)
        many += (i == 0 ? "" : ",") + std::string("\"x.k") + std::to_string(i) + "\": [\"1\"]";
    write("many.json", many + ", \"android.lens.facing\": [\"BACK\"]}");
    const auto start = std::chrono::steady_clock::now();
    Outcome fast = tamo("meta make --from-json many.json --skip-unknown many.meta");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(fast.status, 0);
    EXPECT_EQ(std::count(fast.err.begin(), fast.err.end(), '\n'), 100001);
}

// Whatever dump accepts, dump --json writes and make reads back the same;
// diff sees every entry; a file is one packet and nothing more.
TEST_F(TamoTool, MetaPacketsInAndOutAgree)
{
    write("odd.json", R"({"android.lens.facing": ["BACK"], "android.lens.facing#2": ["FRONT"],
                          "0x8001ffff:int32": ["7", "-1"], "0x8001fffe:rational#2": ["1", "3"],
                          "0x8001fffe:rational": []})");
    ASSERT_EQ(tamo("meta make --from-json odd.json odd.meta").status, 0);
    const std::string json = tamo("meta dump --json odd.meta").out;
    EXPECT_EQ(nlohmann::json::parse(json), nlohmann::json::parse(slurp("odd.json")));
    write("again.json", json);
    ASSERT_EQ(tamo("meta make --from-json again.json again.meta").status, 0);
    EXPECT_EQ(slurp("again.meta"), slurp("odd.meta"));

    nlohmann::json other = nlohmann::json::parse(json);
    other["android.lens.facing#2"] = {"EXTERNAL"};
    write("other.json", other.dump());
    ASSERT_EQ(tamo("meta make --from-json other.json other.meta").status, 0);
    Outcome diff = tamo("meta diff odd.meta other.meta");
    EXPECT_EQ(diff.status, 1);
    EXPECT_EQ(diff.out, "--- odd.meta\n+++ other.meta\n- android.lens.facing#2 [ FRONT ]\n"
                        "+ android.lens.facing#2 [ EXTERNAL ]\n0 only in odd.meta, 0 only in other.meta, 1 with other values\n");

    write("two.meta", slurp("odd.meta") + slurp("other.meta"));
    const std::string size = std::to_string(fs::file_size(dir / "odd.meta"));
    for (const auto& [args, status] : {std::pair<std::string, int>{"meta dump two.meta", 1},
                                       {"meta dump --json two.meta", 1},
                                       {"meta diff odd.meta two.meta", 2}}) {
        Outcome bad = tamo(args);
        EXPECT_EQ(bad.status, status) << args;
        EXPECT_EQ(bad.err, "tamo: two.meta: " + size + " bytes after the packet's " + size + "\n");
    }
}

// One write path for every output: a failed write leaves the target as it
// was and no temporary beside it; a link is followed, a device is written in
// place and stays; an output that is an input is refused before any reading.
TEST_F(TamoTool, OutputsAreWholeOrAsTheyWereAndNeverAnotherFile)
{
    std::string noise(64 * 64, '\0'); // a PNG of it outgrows a one-block size limit
    std::mt19937 random(26);
    for (char& byte : noise)
        byte = static_cast<char>(random());
    write("noise.y8", noise);
    write("old.meta", "old");
    write("old.png", "old");
    fs::create_symlink("old.png", dir / "link.png");
    fs::create_symlink("/dev/full", dir / "full.png");
    const std::string y8 = "raw2png --format y8 --size 64x64 noise.y8 ";
    for (const auto& [args, shell] : {std::pair<std::string, std::string>{"meta make --camera 0 old.meta", "ulimit -f 1 &&"},
                                      {y8 + "link.png", "ulimit -f 1 &&"},
                                      {y8 + "full.png", ""}}) {
        Outcome failed = tamo(args, shell);
        EXPECT_EQ(failed.status, 2) << args;
        const std::string err = args.find("--camera") != std::string::npos ? afterRefusal(failed.err) : failed.err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << failed.err;
    }
    EXPECT_EQ(slurp("old.meta") + slurp("old.png"), "oldold");
    EXPECT_EQ(fs::read_symlink(dir / "full.png"), "/dev/full");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    ASSERT_EQ(tamo(y8 + "link.png").status, 0);
    EXPECT_EQ(fs::read_symlink(dir / "link.png"), "old.png");
    EXPECT_EQ(decode("old.png").width, 64u);

    fs::create_hard_link(dir / "noise.y8", dir / "same.y8");
    write("cam.json", R"({"android.lens.facing": ["BACK"]})");
    for (const std::string& args : {y8 + "noise.y8", y8 + "same.y8", std::string("meta make --from-json cam.json ./cam.json")}) {
        Outcome same = tamo(args);
        EXPECT_EQ(same.status, 1) << args;
        EXPECT_THAT(same.err, HasSubstr(": the same file as the input "));
    }
    EXPECT_EQ(slurp("noise.y8"), noise);
    EXPECT_EQ(slurp("cam.json").size(), 33u);

    // A stream gets the packet alone; what was done is said on stderr.
    ASSERT_EQ(tamo("meta make --camera 0 made.meta").status, 0);
    for (const char* stream : {"/dev/stdout", "-"}) {
        Outcome streamed = tamo(std::string("meta make --camera 0 ") + stream);
        EXPECT_EQ(streamed.out, slurp("made.meta")) << stream;
        EXPECT_EQ(afterRefusal(streamed.err), stream + std::string(": camera 0 static metadata, ") +
                                    std::to_string(slurp("made.meta").size()) + " bytes, 89 entries\n");
    }
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_NE(entry.path().filename().string()[0], '.') << "left behind: " << entry.path();

    // A full disk under a saved frame: the library's line, a failure, and
    // nothing more written.
    fs::create_directories(dir / "frames");
    fs::create_symlink("/dev/full", dir / "frames/raw_4000x3000_raw16.raw");
    Outcome full = tamo("session --requests 2 --streams raw --save-frames frames");
    EXPECT_NE(full.status, 0);
    EXPECT_THAT(full.err, HasSubstr("saveToFile() write fail(28) No space left on device"));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "frames"), {}), 1);

    // Found out before the first request, not after the last.
    Outcome unwritable = tamo("session --requests 10000000 --save-frames /proc", "ulimit -t 10 &&");
    EXPECT_EQ(unwritable.status, 2);
    EXPECT_EQ(unwritable.err.rfind("tamo: /proc: ", 0), 0u) << unwritable.err;
}

// A Unix tool's conventions: 2 for a usage error with the help that was
// missed, --version, and a word about what is not understood.
TEST_F(TamoTool, UsageErrorsExitTwoAndSayWhatIsAccepted)
{
    const struct {
        std::string args;
        std::vector<std::string> said;
    } usage[] = {
        {"", {"session", "tags", "meta", "raw2png", "Exit status: 0 done; 1 refused"}},
        {"meta", {"dump", "make", "diff", "check"}},
        {"meta check", {"--from-json", "--camera", "--rules"}},
        {"tags --bogus", {"--bogus"}},
        {"raw2png --format y8 --size 4294967297x1 in out", {"--size: expected WxH, sides 1 to 65535, at most 2^28 pixels"}},
        {"raw2png --format y8 --size 1x1 --stride 0 in out", {"tamo: --stride: Value 0 not in range 1 to 4294967295 "}},
    };
    for (const auto& [args, said] : usage) {
        Outcome run = tamo(args);
        EXPECT_EQ(run.status, 2) << args;
        EXPECT_EQ(run.out, "") << args;
        for (const std::string& text : said)
            EXPECT_THAT(run.err, HasSubstr(text)) << args;
    }

    Outcome version = tamo("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "tamo (libtamo_utils) " TAMO_UTILS_VERSION "\n");

    Outcome loud = tamo("tags", "TAMO_LOG_LEVEL=loud");
    EXPECT_EQ(loud.status, 0);
    EXPECT_EQ(loud.err, "tamo: warning: TAMO_LOG_LEVEL=loud is not 0 (errors), 1 (warnings), 2 (information) "
                        "or 3 (verbose); using 1\n");

    // A listing that standard output cannot take is trouble, said once.
    Outcome cut = tamo("tags", "ulimit -f 1 &&");
    EXPECT_EQ(cut.status, 2);
    EXPECT_EQ(cut.err, "tamo: standard output: File too large\n");
}

} // namespace

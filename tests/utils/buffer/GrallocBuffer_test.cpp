#include "BufferTestSupport.h"

#include <cstring>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

using namespace tamo;
using namespace buffertest;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;

namespace {

std::shared_ptr<ImageBuffer> allocate(unsigned int format, unsigned int w, unsigned int h)
{
    return builder(format, w, h).setProducerUsage(3).setConsumerUsage(5).build();
}

std::string tempPath(const std::string& name)
{
    return testing::TempDir() + "tamo_" + std::to_string(getpid()) + "_" + name;
}

// Every byte of every plane, row padding included, in plane order.
std::vector<uint8_t> planeBytes(ImageBuffer& b, unsigned int planes)
{
    std::vector<uint8_t> out;
    for (unsigned int i = 0; i < planes; i++) {
        auto* va = static_cast<uint8_t*>(b.getVa(i));
        out.insert(out.end(), va, va + size_t(b.getStride(i)) * b.getScanlines(i));
    }
    return out;
}

TEST(ImageBufferUtils, KnownFormatsAnswerSilently)
{
    struct Row { unsigned int format; const char* name; unsigned int planes; };
    const Row rows[] = {
        {0x10, "nv16", 2}, {0x11, "nv21", 2}, {0x14, "yuy2", 1}, {0x20, "raw16", 1},
        {0x23, "YCBCR_420_888", 2}, {0x25, "raw10", 1}, {0x26, "raw12", 1},
        {0x20203859, "Y8", 1}, {0x20363159, "Y16", 1}, {0x32315659, "yv12", 3},
    };
    LogCapture capture;
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(r.format), r.planes);
        EXPECT_EQ(ImageBufferUtils::getFormatString(r.format), r.name);
        EXPECT_EQ(ImageBufferUtils::getAllocationFormat(r.format), r.format);
        EXPECT_EQ(ImageBufferUtils::getAllocationWidth(r.format, 640, 480), 640u);
        EXPECT_EQ(ImageBufferUtils::getAllocationHeight(r.format, 640, 480), 480u);
    }
    // A blob is one row of three bytes per pixel, in wrapping 32-bit arithmetic.
    EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x21), 1u);
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x21), "Jpeg");
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x21), 0x21u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x21, 4000, 3000), 36000000u);
    EXPECT_EQ(ImageBufferUtils::getAllocationHeight(0x21, 4000, 3000), 1u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x21, 0x10000, 0x10001), 0x30000u);
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x22), "ImplementationDefined");
    EXPECT_TRUE(capture.records().empty());

    // Vendor formats 0x4001-0x4011 have plane counts and nothing else.
    const char planes[] = "11111010002221122";
    for (unsigned int i = 0; i < 17; i++)
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x4001 + i), unsigned(planes[i] - '0')) << i;
    EXPECT_EQ(capture.count("format not found.", 0), 4u);
}

TEST(ImageBufferUtils, UnknownFormatsLogAndFallBack)
{
    LogCapture capture;
    EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x22), 0u);
    EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x4006), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x22, 640, 480), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationHeight(0x4001, 640, 480), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x22), 0x4001u);
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x4001), 0x4001u);
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x4010), "");
    EXPECT_EQ(lines(capture), (std::vector<std::string>{
            "getNumberOfPlanes: format not found.", "getNumberOfPlanes: format not found.",
            "getAllocationWidth: format not found.", "getAllocationHeight: format not found.",
            "getAllocationFormat: Currently not support format 0x22",
            "getAllocationFormat: Currently not support format 0x4001",
            "getFormatString: format not found. 0x4010"}));
    for (const auto& r : capture.records()) {
        EXPECT_EQ(r.level, 0u);
        EXPECT_EQ(r.file, "GrallocBuffer.cpp");
    }
}

TEST(GrallocBuffer, PlaneGeometryFollowsTheFormat)
{
    // 100 x 61: rows pad to 16 bytes, 4:2:0 chroma keeps the odd last row.
    const std::vector<std::pair<unsigned int, std::vector<std::pair<uint32_t, uint32_t>>>> cases = {
        {0x10, {{112, 61}, {112, 61}}},  {0x11, {{112, 61}, {112, 31}}},
        {0x23, {{112, 61}, {112, 31}}},  {0x32315659, {{112, 61}, {64, 31}, {64, 31}}},
        {0x14, {{208, 61}}},             {0x20, {{224, 61}}},
        {0x25, {{128, 61}}},             {0x26, {{160, 61}}},
        {0x20203859, {{112, 61}}},       {0x20363159, {{224, 61}}},
        {0x21, {{18300, 1}}},
    };
    for (const auto& [format, planes] : cases) {
        SCOPED_TRACE(format);
        auto b = allocate(format, 100, 61);
        ASSERT_TRUE(b->lock("geometry"));
        ASSERT_EQ(planes.size(), ImageBufferUtils::getNumberOfPlanes(format));
        auto* next = static_cast<uint8_t*>(b->getVa(0));
        for (unsigned int i = 0; i < planes.size(); i++) {
            EXPECT_EQ(std::make_pair(b->getStride(i), b->getScanlines(i)), planes[i]);
            EXPECT_EQ(b->getVa(i), next);  // back to back
            next += size_t(planes[i].first) * planes[i].second;
        }
        EXPECT_EQ(b->unlock("geometry"), 0);
    }
}

TEST(GrallocBuffer, PlaneQueriesNeedALockAndLocksNest)
{
    auto b = allocate(0x11, 64, 48);
    LogCapture capture;
    EXPECT_EQ(b->getScanlines(0), 0u);
    EXPECT_EQ(b->getStride(0), 0u);
    EXPECT_EQ(b->getVa(0), nullptr);
    ASSERT_TRUE(b->lock("outer"));
    ASSERT_TRUE(b->lock("inner"));
    EXPECT_EQ(b->getVa(2), nullptr);
    std::memset(b->getVa(1), 0x5a, 16);
    EXPECT_EQ(b->unlock("inner"), 0);
    EXPECT_NE(b->getVa(1), nullptr);  // "outer" still holds it
    EXPECT_EQ(b->unlock("outer"), 0);
    EXPECT_EQ(b->getVa(1), nullptr);
    EXPECT_EQ(b->unlock("extra"), -1);
    EXPECT_EQ(lines(capture), (Lines{"getScanlines: lock before get plane stride",
                                     "getStride: lock before get plane stride",
                                     "getVa: lock before get va", "getVa: error plane index",
                                     "getVa: lock before get va",
                                     "unlock: unlock without lock [extra]"}));
    ASSERT_TRUE(b->lock("again"));  // the pixels outlive the mapping
    EXPECT_EQ(static_cast<uint8_t*>(b->getVa(1))[15], 0x5a);
    b->unlock("again");
}

TEST(GrallocBuffer, DumpFileIsThePlanesBackToBackAndLoadsBack)
{
    LevelGuard guard;
    g_logLv = 2;
    auto saved = allocate(0x11, 100, 61);
    ASSERT_TRUE(saved->lock("fill"));
    auto* bytes = static_cast<uint8_t*>(saved->getVa(0));  // planes are contiguous here
    for (size_t i = 0; i < 112u * 61 + 112u * 31; i++)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    std::vector<uint8_t> expected = planeBytes(*saved, 2);
    saved->unlock("fill");
    ASSERT_EQ(expected.size(), 112u * 61 + 112u * 31);

    const std::string path = tempPath("nv21.raw");
    LogCapture capture;
    ASSERT_TRUE(saved->saveToFile(path));
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {}), expected);
    auto loaded = allocate(0x11, 100, 61);
    ASSERT_TRUE(loaded->loadFromFile(path));
    ASSERT_TRUE(loaded->lock("check"));
    EXPECT_EQ(planeBytes(*loaded, 2), expected);
    EXPECT_EQ(lines(capture), Lines{"saveToFile:  save as " + path});  // loading says nothing

    // A short file overwrites only what it holds.
    std::ofstream(path, std::ios::binary | std::ios::trunc) << "abc";
    ASSERT_TRUE(loaded->loadFromFile(path));
    auto* y = static_cast<uint8_t*>(loaded->getVa(0));
    EXPECT_EQ(std::string(y, y + 3), "abc");
    EXPECT_EQ(y[3], expected[3]);
    loaded->unlock("check");
    unlink(path.c_str());
}

TEST(GrallocBuffer, DumpFilesFailCleanly)
{
    LevelGuard guard;
    g_logLv = 1;
    auto b = allocate(0x11, 64, 48);
    native_handle_t* foreign = native_handle_create(0, 0);  // nothing this process can map
    native_handle const* slot = foreign;
    auto imported = builder(0x11, 64, 48).setBufferHandle(&slot).build();
    const std::string path = tempPath("foreign.raw");
    LogCapture capture;
    EXPECT_FALSE(b->saveToFile("/nonexistent-dir/x.raw"));
    EXPECT_FALSE(b->loadFromFile("/nonexistent-dir/x.raw"));
    EXPECT_FALSE(imported->saveToFile(path));
    const std::string open = "open fail(2) No such file or directory [/nonexistent-dir/x.raw]";
    EXPECT_EQ(lines(capture), (Lines{"saveToFile: " + open, "loadFromFile: " + open,
                                     "lock: lock fail [saveToFile_" + path + "]"}));
    EXPECT_NE(access(path.c_str(), F_OK), 0);  // no empty dump left behind
    // A path that was there before is the caller's: never removed.
    const std::string kept = tempPath("kept.raw");
    std::fclose(std::fopen(kept.c_str(), "w"));
    EXPECT_FALSE(imported->saveToFile(kept));
    EXPECT_EQ(access(kept.c_str(), F_OK), 0);
    imported.reset();
    native_handle_delete(foreign);
}

TEST(GrallocBuffer, OwnsWhatItAllocatedOnly)
{
    auto b = allocate(0x20203859, 64, 48);
    native_handle const* own = *b->getBufferHandle();
    ASSERT_TRUE(own != nullptr && own->numFds == 1);
    int fd = own->data[0];
    ASSERT_TRUE(b->lock("fill"));
    static_cast<uint8_t*>(b->getVa(0))[0] = 42;
    b->unlock("fill");

    // A wrapper of the same handle sees the same pixels and frees nothing.
    native_handle const* slot = own;
    auto wrapper = builder(0x20203859, 64, 48).setBufferHandle(&slot).build();
    ASSERT_TRUE(wrapper->lock("read"));
    EXPECT_EQ(static_cast<uint8_t*>(wrapper->getVa(0))[0], 42);
    wrapper.reset();  // dies locked
    EXPECT_NE(fcntl(fd, F_GETFD), -1);
    b.reset();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(GrallocBuffer, DumpIsGatedOnLevelTwo)
{
    LevelGuard guard;
    auto b = allocate(0x11, 64, 48);
    LogCapture capture;
    for (g_logLv = 1; g_logLv <= 2; g_logLv++)
        b->dump();
    EXPECT_EQ(lines(capture), (Lines{"dump: \t Source : allocated buffer", "dump: \t Size : 64x48",
                                     "dump: \t Format : nv21(17)",
                                     "dump: \t Usage : (producer/consumer)=(0x3/0x5)"}));
    EXPECT_EQ(capture.count("\t Size : %ux%u", 2), 1u);
}

TEST(PlatformBufferAllocator, ReportsFailedAllocationAndBadMode)
{
    auto info = std::make_shared<ImageInfo>(ImageInfo{64, 48, 0, 0x22});  // nothing to allocate
    LogCapture capture;
    EXPECT_EQ(PlatformBufferAllocator(info, PlatformBufferAllocator::MODE_ALLOCATE)
                      .run(nullptr, nullptr), nullptr);
    EXPECT_EQ(lines(capture).back(), "run: gralloc fail");
    info->format = 0x11;
    capture.clear();
    EXPECT_EQ(PlatformBufferAllocator(info, 2).run(nullptr, nullptr), nullptr);
    EXPECT_EQ(lines(capture), Lines{"run: error"});
}

} // namespace

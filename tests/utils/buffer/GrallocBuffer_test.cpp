#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace tamo;
using tamo::host::LogCapture;

namespace {

struct LevelGuard {
    uint32_t saved = g_logLv;
    ~LevelGuard() { g_logLv = saved; }
};

std::shared_ptr<ImageBuffer> allocate(unsigned int format, unsigned int w, unsigned int h)
{
    return ImageBufferBuilder().setImageFormat(format).setSize(w, h).setProducerUsage(3)
            .setConsumerUsage(5).build();
}

std::string tempPath(const std::string& name)
{
    return testing::TempDir() + "tamo_" + std::to_string(getpid()) + "_" + name;
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every byte of every plane, padding included, in plane order.
std::vector<uint8_t> planeBytes(ImageBuffer& b, unsigned int planes)
{
    std::vector<uint8_t> out;
    for (unsigned int i = 0; i < planes; i++) {
        auto* va = static_cast<uint8_t*>(b.getVa(i));
        out.insert(out.end(), va, va + size_t(b.getStride(i)) * b.getScanlines(i));
    }
    return out;
}

TEST(GrallocBuffer, PlaneGeometryFollowsTheFormat)
{
    struct Case {
        unsigned int format;
        std::vector<std::pair<uint32_t, uint32_t>> planes; // stride, scanlines
    };
    // 100 x 61: rows pad to 16 bytes, 4:2:0 chroma keeps the odd last row.
    const Case cases[] = {
        {0x10, {{112, 61}, {112, 61}}},
        {0x11, {{112, 61}, {112, 31}}},
        {0x23, {{112, 61}, {112, 31}}},
        {0x32315659, {{112, 61}, {64, 31}, {64, 31}}},
        {0x14, {{208, 61}}},
        {0x20, {{224, 61}}},
        {0x25, {{128, 61}}},
        {0x26, {{160, 61}}},
        {0x20203859, {{112, 61}}},
        {0x20363159, {{224, 61}}},
        {0x21, {{18300, 1}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        auto b = allocate(c.format, 100, 61);
        ASSERT_NE(b, nullptr);
        ASSERT_TRUE(b->lock("geometry"));
        ASSERT_EQ(c.planes.size(), ImageBufferUtils::getNumberOfPlanes(c.format));
        auto* next = static_cast<uint8_t*>(b->getVa(0));
        for (unsigned int i = 0; i < c.planes.size(); i++) {
            EXPECT_EQ(b->getStride(i), c.planes[i].first);
            EXPECT_EQ(b->getScanlines(i), c.planes[i].second);
            EXPECT_EQ(b->getVa(i), next);  // planes back to back
            next += size_t(c.planes[i].first) * c.planes[i].second;
        }
        EXPECT_EQ(b->unlock("geometry"), 0);
    }
}

TEST(GrallocBuffer, PlaneQueriesNeedALockAndNestedLocksCount)
{
    auto b = allocate(0x11, 64, 48);
    ASSERT_NE(b, nullptr);
    LogCapture capture;
    EXPECT_EQ(b->getScanlines(0), 0u);
    EXPECT_EQ(b->getStride(0), 0u);
    EXPECT_EQ(b->getVa(0), nullptr);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 3u);
    EXPECT_EQ(r[0].message, "lock before get plane stride");
    EXPECT_EQ(r[0].function, "getScanlines");
    EXPECT_EQ(r[1].message, "lock before get plane stride");
    EXPECT_EQ(r[2].message, "lock before get va");

    ASSERT_TRUE(b->lock("outer"));
    ASSERT_TRUE(b->lock("inner"));
    capture.clear();
    EXPECT_EQ(b->getVa(2), nullptr);
    EXPECT_EQ(b->getStride(2), 0u);
    EXPECT_EQ(capture.count("error plane index", 0), 2u);
    std::memset(b->getVa(1), 0x5a, 16);

    EXPECT_EQ(b->unlock("inner"), 0);
    ASSERT_NE(b->getVa(1), nullptr);  // still held by "outer"
    EXPECT_EQ(b->unlock("outer"), 0);
    capture.clear();
    EXPECT_EQ(b->getVa(0), nullptr);
    EXPECT_EQ(b->unlock("extra"), -1);
    EXPECT_EQ(capture.records().size(), 2u);

    // The memory outlives the mapping.
    ASSERT_TRUE(b->lock("again"));
    EXPECT_EQ(static_cast<uint8_t*>(b->getVa(1))[15], 0x5a);
    b->unlock("again");
}

TEST(GrallocBuffer, DumpFileIsThePlanesBackToBackAndLoadsBack)
{
    LevelGuard guard;
    g_logLv = 2;
    auto saved = allocate(0x11, 100, 61);
    ASSERT_NE(saved, nullptr);
    ASSERT_TRUE(saved->lock("fill"));
    for (unsigned int p = 0; p < 2; p++) {
        auto* va = static_cast<uint8_t*>(saved->getVa(p));
        size_t size = size_t(saved->getStride(p)) * saved->getScanlines(p);
        for (size_t i = 0; i < size; i++)
            va[i] = static_cast<uint8_t>(i * 7 + p * 101 + i / 251);
    }
    std::vector<uint8_t> expected = planeBytes(*saved, 2);
    saved->unlock("fill");
    ASSERT_EQ(expected.size(), 112u * 61 + 112u * 31);

    const std::string path = tempPath("nv21.raw");
    LogCapture capture;
    ASSERT_TRUE(saved->saveToFile(path));
    EXPECT_TRUE(capture.hasMessage(" save as " + path));
    EXPECT_EQ(readFile(path), expected);

    auto loaded = allocate(0x11, 100, 61);
    ASSERT_TRUE(loaded->loadFromFile(path));
    ASSERT_TRUE(loaded->lock("check"));
    EXPECT_EQ(planeBytes(*loaded, 2), expected);
    loaded->unlock("check");
    EXPECT_EQ(capture.count(" save as %s"), 1u);  // loading says nothing

    // A short file overwrites only what it holds.
    std::ofstream(path, std::ios::binary | std::ios::trunc) << "abc";
    auto partial = allocate(0x11, 100, 61);
    ASSERT_TRUE(partial->lock("pre"));
    std::memset(partial->getVa(0), 0xee, 8);
    ASSERT_TRUE(partial->loadFromFile(path));
    auto* y = static_cast<uint8_t*>(partial->getVa(0));
    EXPECT_EQ(std::string(y, y + 3), "abc");
    EXPECT_EQ(y[3], 0xee);
    partial->unlock("pre");
    unlink(path.c_str());
}

TEST(GrallocBuffer, DumpFilesFailCleanly)
{
    LevelGuard guard;
    g_logLv = 1;
    auto b = allocate(0x11, 64, 48);
    LogCapture capture;
    EXPECT_FALSE(b->saveToFile("/nonexistent-dir/x.raw"));
    EXPECT_FALSE(b->loadFromFile("/nonexistent-dir/x.raw"));
    auto r = capture.records();
    ASSERT_EQ(r.size(), 2u);  // no " save as" line below level 2
    EXPECT_EQ(r[0].format, "open fail(%d) %s [%s]");
    EXPECT_EQ(r[0].message, "open fail(2) No such file or directory [/nonexistent-dir/x.raw]");
    EXPECT_EQ(r[0].function, "saveToFile");
    EXPECT_EQ(r[1].function, "loadFromFile");

    // A handle this process cannot map: one line, no file left behind.
    native_handle_t* foreign = native_handle_create(0, 0);
    native_handle const* slot = foreign;
    auto imported = ImageBufferBuilder().setImageFormat(0x11).setSize(64, 48)
                            .setBufferHandle(&slot).build();
    const std::string path = tempPath("foreign.raw");
    capture.clear();
    EXPECT_FALSE(imported->saveToFile(path));
    r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].message, "lock fail [saveToFile_" + path + "]");
    EXPECT_NE(access(path.c_str(), F_OK), 0);
    imported.reset();
    native_handle_delete(foreign);
}

TEST(GrallocBuffer, OwnsWhatItAllocatedOnly)
{
    auto b = allocate(0x20203859, 64, 48);
    native_handle const* own = *b->getBufferHandle();
    ASSERT_NE(own, nullptr);
    ASSERT_EQ(own->numFds, 1);
    int fd = own->data[0];
    ASSERT_TRUE(b->lock("fill"));
    static_cast<uint8_t*>(b->getVa(0))[0] = 42;
    b->unlock("fill");

    // Wrapping the same handle maps the same memory; the wrapper frees nothing.
    native_handle const* slot = own;
    auto wrapper = ImageBufferBuilder().setImageFormat(0x20203859).setSize(64, 48)
                           .setBufferHandle(&slot).build();
    ASSERT_TRUE(wrapper->lock("read"));
    EXPECT_EQ(static_cast<uint8_t*>(wrapper->getVa(0))[0], 42);
    wrapper.reset();  // dies locked: unmapped, handle untouched
    EXPECT_NE(fcntl(fd, F_GETFD), -1);

    b.reset();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(GrallocBuffer, DumpIsGatedOnLevelTwo)
{
    LevelGuard guard;
    auto b = allocate(0x11, 64, 48);
    LogCapture capture;
    g_logLv = 1;
    b->dump();
    EXPECT_TRUE(capture.records().empty());
    g_logLv = 2;
    b->dump();
    auto r = capture.records();
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0].message, "\t Source : allocated buffer");
    EXPECT_EQ(r[1].message, "\t Size : 64x48");
    EXPECT_EQ(r[2].message, "\t Format : nv21(17)");
    EXPECT_EQ(r[3].message, "\t Usage : (producer/consumer)=(0x3/0x5)");
    for (const auto& rec : r) {
        EXPECT_EQ(rec.level, 2u);
        EXPECT_EQ(rec.function, "dump");
    }
}

TEST(PlatformBufferAllocator, ReportsFailedAllocationAndBadMode)
{
    auto info = std::make_shared<ImageInfo>();
    info->width = 64;
    info->height = 48;
    info->format = 0x22;  // nothing to allocate
    LogCapture capture;
    EXPECT_EQ(PlatformBufferAllocator(info, PlatformBufferAllocator::MODE_ALLOCATE)
                      .run(nullptr, nullptr), nullptr);
    EXPECT_EQ(capture.count("gralloc fail", 0), 1u);
    EXPECT_EQ(capture.withFormat("gralloc fail")[0].function, "run");

    info->format = 0x11;
    capture.clear();
    EXPECT_EQ(PlatformBufferAllocator(info, 2).run(nullptr, nullptr), nullptr);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].message, "error");
}

} // namespace

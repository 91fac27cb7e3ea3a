#include "BufferTestSupport.h"

#include <fstream>
#include <iterator>
#include <tuple>

#include <unistd.h>

using namespace tamo;
using namespace buffertest;
using U = ImageBufferUtils;

namespace {

TEST(ImageBufferUtils, FormatTableWithItsAsymmetries)
{
    struct Row { unsigned int format; const char* name; unsigned int planes; };
    const Row rows[] = {{0x10, "nv16", 2}, {0x11, "nv21", 2}, {0x14, "yuy2", 1}, {0x20, "raw16", 1},
                        {0x23, "YCBCR_420_888", 2}, {0x25, "raw10", 1}, {0x26, "raw12", 1}, {0x20203859, "Y8", 1},
                        {0x20363159, "Y16", 1}, {0x32315659, "yv12", 3}};
    auto describe = [](unsigned int f, unsigned int w, unsigned int h) {
        return std::make_tuple(U::getFormatString(f), U::getNumberOfPlanes(f), U::getAllocationFormat(f),
                               U::getAllocationWidth(f, w, h), U::getAllocationHeight(f, w, h));
    };
    LogCapture capture;
    for (const Row& r : rows)
        EXPECT_EQ(describe(r.format, 640, 480), std::make_tuple(r.name, r.planes, r.format, 640u, 480u));
    // A blob is one row of three bytes per pixel, in wrapping 32-bit arithmetic.
    EXPECT_EQ(describe(0x21, 4000, 3000), std::make_tuple("Jpeg", 1u, 0x21u, 36000000u, 1u));
    EXPECT_EQ(U::getAllocationWidth(0x21, 0x10000, 0x10001), 0x30000u);
    EXPECT_EQ(U::getFormatString(0x22), "ImplementationDefined");
    EXPECT_TRUE(capture.records().empty());

    // Vendor formats 0x4001-0x4011 have plane counts and nothing else.
    const char planes[] = "11111010002221122";
    for (unsigned int i = 0; i < 17; i++)
        EXPECT_EQ(U::getNumberOfPlanes(0x4001 + i), unsigned(planes[i] - '0')) << i;
    EXPECT_EQ(capture.count("format not found.", 0), 4u);
    capture.clear();
    EXPECT_EQ(U::getNumberOfPlanes(0x22) + U::getAllocationWidth(0x22, 1, 1) + U::getAllocationHeight(0x4001, 1, 1), 0u);
    EXPECT_EQ(U::getAllocationFormat(0x22), 0x4001u);
    EXPECT_EQ(U::getFormatString(0x4010), "");
    EXPECT_EQ(lines(capture), (Lines{"getNumberOfPlanes: format not found.", "getAllocationWidth: format not found.",
                                     "getAllocationHeight: format not found.",
                                     "getAllocationFormat: Currently not support format 0x22",
                                     "getFormatString: format not found. 0x4010"}));
    for (const auto& r : capture.records())
        EXPECT_TRUE(r.level == 0 && r.file == "GrallocBuffer.cpp");
}

// The plane table fills only under a lock, which nests; a dump file holds
// the planes back to back at full stride, without a header, and loads back.
TEST(GrallocBuffer, PlanesNeedALockAndDumpBackToBack)
{
    LevelGuard level(2);
    auto saved = builder(0x11, 100, 61).build(), loaded = builder(0x11, 100, 61).build();
    LogCapture capture;
    EXPECT_TRUE(saved->getScanlines(0) == 0 && saved->getStride(0) == 0 && saved->getVa(0) == nullptr);
    ASSERT_TRUE(saved->lock("fill") && loaded->lock("check"));
    EXPECT_TRUE(saved->getVa(1) != nullptr && saved->getVa(2) == nullptr && saved->getScanlines(2) == 0);
    // Rows of 112 bytes, then 31 chroma rows: the planes lie back to back here.
    const size_t size = 112u * (61 + 31);
    auto* bytes = static_cast<uint8_t*>(saved->getVa(0));
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    const std::vector<uint8_t> expected(bytes, bytes + size);
    const std::string path = testing::TempDir() + "tamo_" + std::to_string(getpid()) + ".raw";
    auto onDisk = [&] {
        std::ifstream in(path, std::ios::binary);
        return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
    };
    ASSERT_TRUE(saved->saveToFile(path) && loaded->loadFromFile(path));
    EXPECT_EQ(onDisk(), expected);
    auto* back = static_cast<uint8_t*>(loaded->getVa(0));
    EXPECT_EQ(std::vector<uint8_t>(back, back + size), expected);
    EXPECT_EQ(loaded->unlock("check") + loaded->unlock("extra"), -1); // the second has nothing to release

    const std::string missing = "/nonexistent-dir/x.raw";
    EXPECT_FALSE(saved->saveToFile(missing) || saved->loadFromFile(missing));
    const std::string open = "open fail(2) No such file or directory [" + missing + "]";
    EXPECT_EQ(lines(capture), (Lines{"getScanlines: lock before get plane stride",
                                     "getStride: lock before get plane stride", "getVa: lock before get va",
                                     "getVa: error plane index", "getScanlines: error plane index",
                                     "saveToFile:  save as " + path, "unlock: unlock without lock [extra]",
                                     "saveToFile:  save as " + missing, "saveToFile: " + open,
                                     "loadFromFile: " + open}));
    EXPECT_EQ(capture.count("open fail(%d) %s [%s]", 0), 2u);

    // A buffer that cannot be mapped is refused before the file is touched.
    native_handle_t* foreign = native_handle_create(0, 0);
    native_handle const* slot = foreign;
    EXPECT_FALSE(builder(0x11, 100, 61).setBufferHandle(&slot).build()->saveToFile(path));
    native_handle_delete(foreign);
    EXPECT_EQ(onDisk(), expected);
    unlink(path.c_str());
}

} // namespace

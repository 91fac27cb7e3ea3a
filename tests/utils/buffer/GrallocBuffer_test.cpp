#include "BufferTestSupport.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <tuple>

#include <tamo/GrallocMapper.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/HostGralloc.h>

#include "HostMapperVersion.h"
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

using namespace tamo;
using namespace buffertest;
using U = ImageBufferUtils;
using android::host::HostGralloc;
using testsupport::HostMapperVersion;

namespace {

using Table = std::vector<std::pair<uint32_t, uint32_t>>; // bytes per row, rows

// Every allocatable format, its name and its plane table: the allocator's
// layout as the mapper reports it, planes back to back from where the mapper
// maps the handle. The arithmetic that holds for any format and size is the
// image buffer fuzzer's; here are the names, plane counts and refusals.
TEST(GrallocBuffer, FormatsAndPlaneTablesAreWhatTheMapperReports)
{
    // 100x61: rows padded to 64 bytes, chroma rows rounded up; a blob is one row.
    const std::tuple<unsigned int, std::string, Table> formats[] = {
        {0x10, "nv16", {{128, 61}, {128, 61}}}, {0x11, "nv21", {{128, 61}, {128, 31}}},
        {0x23, "YCBCR_420_888", {{128, 61}, {128, 31}}}, {0x32315659, "yv12", {{128, 61}, {64, 31}, {64, 31}}},
        {0x14, "yuy2", {{256, 61}}}, {0x20, "raw16", {{256, 61}}}, {0x25, "raw10", {{128, 61}}},
        {0x26, "raw12", {{192, 61}}}, {0x20203859, "Y8", {{128, 61}}}, {0x20363159, "Y16", {{256, 61}}},
        {0x21, "Jpeg", {{18300, 1}}}};
    LogCapture capture;
    Lines said;
    for (const auto& [format, name, expected] : formats) {
        SCOPED_TRACE(name);
        EXPECT_EQ(std::make_pair(U::getFormatString(format), size_t{U::getNumberOfPlanes(format)}),
                  std::make_pair(name, expected.size()));
        auto buffer = builder(format, 100, 61).build();
        // Packed RAW rows in bytes come only from a mapper that reports them.
        if (HostGralloc::mapperVersion() == 2 && (format == 0x25 || format == 0x26)) {
            EXPECT_FALSE(buffer->lock("table"));
            said.push_back("0 lock: lock fail [table]: the mapper gives no stride for this format");
            continue;
        }
        said.push_back("0 getVa: error plane index");
        ASSERT_TRUE(buffer && buffer->lock("table"));
        uint8_t* next = nullptr; // where the mapper maps the handle
        auto& mapper = android::GraphicBufferMapper::get();
        ASSERT_EQ(mapper.lock(*buffer->getBufferHandle(), 0x3, android::Rect(1, 1), reinterpret_cast<void**>(&next)), 0);
        EXPECT_EQ(mapper.unlock(*buffer->getBufferHandle()), 0);
        Table table;
        for (unsigned int i = 0; i < expected.size(); i++) {
            EXPECT_EQ(buffer->getVa(i), next) << i;
            table.emplace_back(buffer->getStride(i), buffer->getScanlines(i));
            next += size_t{table[i].first} * table[i].second;
        }
        EXPECT_EQ(table, expected);
        EXPECT_EQ(buffer->getVa(expected.size()), nullptr);
        EXPECT_EQ(buffer->unlock("table"), 0);
    }
    EXPECT_EQ(lines(capture), said);

    // Vendor formats 0x4001-0x4011 have plane counts and nothing else.
    capture.clear();
    EXPECT_EQ(U::getFormatString(0x22), "ImplementationDefined");
    const char planes[] = "11111010002221122";
    for (unsigned int i = 0; i < 17; i++)
        EXPECT_EQ(U::getNumberOfPlanes(0x4001 + i), unsigned(planes[i] - '0')) << i;
    EXPECT_EQ(U::getNumberOfPlanes(0x22) + U::getAllocationWidth(0x22, 1, 1) + U::getAllocationHeight(0x4001, 1, 1), 0u);
    EXPECT_EQ(U::getAllocationFormat(0x22), 0x4001u);
    EXPECT_EQ(U::getFormatString(0x4010), "");
    const std::string none = "0 getNumberOfPlanes: format not found.";
    EXPECT_EQ(lines(capture), (Lines{none, none, none, none, none, "0 getAllocationWidth: format not found.",
                                     "0 getAllocationHeight: format not found.",
                                     "0 getAllocationFormat: Currently not support format 0x22",
                                     "0 getFormatString: format not found. 0x4010"}));
}

// Pixels written under one lock are read under a lock of an imported clone
// of the handle, which dumps them: the planes back to back at full stride.
TEST(GrallocBuffer, PixelsReachAnImportedCloneItsDumpAndALoad)
{
    LevelGuard level(2);
    auto buffer = builder(0x11, 100, 61).build();
    ASSERT_TRUE(buffer && buffer->lock("fill"));
    const size_t size = 128u * (61 + 31);
    auto* bytes = static_cast<uint8_t*>(buffer->getVa(0));
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    const std::vector<uint8_t> expected(bytes, bytes + size);
    EXPECT_TRUE(buffer->unlock("fill") == 0 && buffer->getVa(0) == nullptr); // unmapped, no stale address

    native_handle const* clone = nullptr;
    ASSERT_TRUE(IGrallocMapper::getInstance().importBuffer(*buffer->getBufferHandle(), clone));
    auto wrapper = builder(0x11, 100, 61).setBufferHandle(&clone).build();
    ASSERT_TRUE(wrapper->lock("read") && wrapper->lock("nested") && wrapper->unlock("nested") == 0); // still locked
    auto* read = static_cast<uint8_t*>(wrapper->getVa(0));
    EXPECT_TRUE(read != bytes && std::vector<uint8_t>(read, read + size) == expected);
    const std::string path = testing::TempDir() + "tamo_" + std::to_string(getpid()) + ".raw";
    ASSERT_TRUE(wrapper->saveToFile(path));
    std::ifstream onDisk(path, std::ios::binary);
    EXPECT_EQ(std::vector<uint8_t>(std::istreambuf_iterator<char>(onDisk), {}), expected);
    std::fill(read, read + size, 0);
    EXPECT_TRUE(wrapper->loadFromFile(path) && std::vector<uint8_t>(read, read + size) == expected);
    EXPECT_EQ(wrapper->unlock("read"), 0);
    // Imported through the mapper service, freed through libui: one implementation.
    EXPECT_EQ(android::GraphicBufferMapper::get().freeBuffer(clone), 0);

    // Refusals: a save that cannot lock takes back the file it created, and
    // dump adds nothing to its one failure line. What cannot be opened is
    // the placeholder test's, the same code.
    LogCapture capture;
    native_handle const* foreign = native_handle_create(0, 0);
    auto unmappable = builder(0x11, 100, 61).setBufferHandle(&foreign).build();
    const std::string fresh = path + ".new";
    EXPECT_FALSE(unmappable->saveToFile(fresh) || std::ifstream(fresh).is_open());
    g_logLv = 1;
    unmappable->dump();
    EXPECT_EQ(buffer->unlock("extra"), -1);
    EXPECT_EQ(lines(capture), (Lines{"2 saveToFile:  save as " + fresh, "0 lock: lock fail [saveToFile_" + fresh + "]",
                                     "0 lock: lock fail [dump imported buffer]", "0 unlock: unlock without lock [extra]"}));
    native_handle_delete(const_cast<native_handle_t*>(foreign));
    unlink(path.c_str());
}

// A 2.x mapper gives no bytes per row: buffers allocated here take the
// allocation's stride and get the plane table they get over 4.0; an
// imported one, whose stride only the mapper could tell, is refused.
TEST(GrallocBuffer, WithoutAStrideFromTheMapperTheAllocationsStrideServes)
{
    using Planes = std::vector<std::tuple<bool, uint32_t, uint32_t>>; // locked, stride, scanlines
    auto planesOf = [](unsigned int format, unsigned int w, unsigned int h) {
        auto buffer = builder(format, w, h).build();
        Planes planes{{buffer && buffer->lock("table"), 0, 0}};
        if (std::get<0>(planes[0])) {
            planes.emplace_back(true, buffer->getStride(0), buffer->getScanlines(0));
            buffer->unlock("table");
        }
        return planes;
    };
    const std::vector<std::tuple<unsigned int, unsigned int, unsigned int>> formats = {
            {0x20, 100, 61}, {0x21, 50000, 1}, {0x20203859, 33, 7}, {0x14, 30, 3}}; // RAW16, BLOB, Y8, YUY2
    std::vector<Planes> over4;
    for (auto [format, w, h] : formats)
        over4.push_back(planesOf(format, w, h));
    HostMapperVersion two(2);
    for (size_t i = 0; i < formats.size(); i++)
        EXPECT_EQ(planesOf(std::get<0>(formats[i]), std::get<1>(formats[i]), std::get<2>(formats[i])), over4[i]) << i;
    EXPECT_TRUE(std::get<0>(over4[0][0]) && std::get<1>(over4[0][1]) == 256u);

    auto raw = builder(0x20, 100, 61).build();
    native_handle const* clone = nullptr;
    ASSERT_TRUE(raw && IGrallocMapper::getInstance().importBuffer(*raw->getBufferHandle(), clone));
    auto imported = builder(0x20, 100, 61).setBufferHandle(&clone).build();
    LogCapture capture;
    EXPECT_FALSE(imported->lock("imported"));
    EXPECT_EQ(lines(capture), Lines{"0 lock: lock fail [imported]: the mapper gives no stride for an imported buffer"});
    EXPECT_EQ(android::GraphicBufferMapper::get().freeBuffer(clone), 0);
}

// A full disk: the save fails with its line, and a file it created is taken
// back. A file size limit stands in for a full filesystem in a child.
TEST(GrallocBufferDeathTest, FailedWritesFailTheSaveAndLeaveNothingBehind)
{
    auto buffer = builder(0x11, 100, 61).build(); // ~12 KB, mapped before any limit
    ASSERT_TRUE(buffer && buffer->lock("save"));
    LogCapture capture;
    EXPECT_FALSE(buffer->saveToFile("/dev/full"));
    EXPECT_EQ(lines(capture).back(), "0 saveToFile: write fail(28) No space left on device [/dev/full]");
    const std::string path = testing::TempDir() + "tamo_full_" + std::to_string(getpid()) + ".raw";
    auto saveWithALimit = [&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        const bool refused = !buffer->saveToFile(path);
        const bool said = lines(capture).back() == "0 saveToFile: write fail(27) File too large [" + path + "]";
        std::_Exit(refused && said && access(path.c_str(), F_OK) != 0 ? 0 : 1);
    };
    EXPECT_EXIT(saveWithALimit(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(buffer->unlock("save"), 0);
}

// A failed allocation reaches the caller as an empty pointer, and leaves a
// pool short of its minimum, still returned; once a pool, its builder and
// its users let go, no buffer and no mapping is left.
TEST(GrallocBuffer, FailedAllocationsAndNothingLeftBehind)
{
    const auto live = [] { return std::make_pair(HostGralloc::liveAllocations(), HostGralloc::liveMappings()); };
    const auto before = live();
    LogCapture capture;
    {
        HostGralloc::failNextAllocations(2); // this build's, then one of the pool's two
        EXPECT_EQ(builder(0x23, 64, 48).build(), nullptr);
        auto pool = ImageBufferManagerBuilder().setMinCount(2).setMaxCount(3)
                            .setImageBufferBuilder(builder(0x23, 1920, 1080)).build();
        EXPECT_EQ(pool->getFreeBufferCount(), 1u);
        EXPECT_EQ(lines(capture), (Lines{"0 run: gralloc fail", "0 run: gralloc fail",
                                         "0 allocate: Buffer allocation fail.", "0 build: Something wrong!!!"}));
        auto a = pool->acquireImageBuffer(), b = pool->acquireImageBuffer(), c = pool->acquireImageBuffer();
        ASSERT_TRUE(a && b && c && a->lock("held") && b->lock("held")); // dropped locked
        native_handle const* clone = nullptr;
        ASSERT_TRUE(IGrallocMapper::getInstance().importBuffer(*c->getBufferHandle(), clone));
        EXPECT_EQ(live(), std::make_pair(before.first + 3, before.second + 4));
        IGrallocMapper::getInstance().freeBuffer(clone); // the mapper service frees what libui maps
        pool->releaseImageBuffer(a);
    }
    EXPECT_EQ(live(), before);
}

} // namespace

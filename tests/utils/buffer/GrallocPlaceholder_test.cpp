// Buffers built without memory: everything around allocation and mapping
// behaves as usual, the plane table just never fills.
#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <fstream>

#include <unistd.h>

using namespace tamo;
using tamo::host::LogCapture;

namespace {

TEST(GrallocPlaceholder, AllocatesNothingAndNeverMaps)
{
    auto buffer = ImageBufferBuilder().setImageFormat(0x11).setSize(64, 48).build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(*buffer->getBufferHandle(), nullptr);

    LogCapture capture;
    EXPECT_TRUE(buffer->lock("cpu"));
    EXPECT_EQ(buffer->unlock("cpu"), -1);
    EXPECT_EQ(buffer->unlock("never locked"), -1);
    EXPECT_TRUE(capture.records().empty());

    EXPECT_TRUE(buffer->lock("cpu"));
    EXPECT_EQ(buffer->getVa(0), nullptr);
    EXPECT_EQ(buffer->getScanlines(0), 0u);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].message, "lock before get va");
    EXPECT_EQ(r[1].message, "lock before get plane stride");
}

TEST(GrallocPlaceholder, DumpFilesFailWithoutTouchingPlanes)
{
    uint32_t saved = g_logLv;
    g_logLv = 1;
    auto buffer = ImageBufferBuilder().setImageFormat(0x32315659).setSize(64, 48).build();
    const std::string path = testing::TempDir() + "tamo_placeholder_" + std::to_string(getpid());
    std::ofstream(path) << "pixels";

    LogCapture capture;
    EXPECT_FALSE(buffer->loadFromFile(path));
    EXPECT_FALSE(buffer->saveToFile(path));
    auto r = capture.records();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].message, "buffer not mapped [" + path + "]");
    EXPECT_EQ(r[0].function, "loadFromFile");
    EXPECT_EQ(r[1].function, "saveToFile");
    EXPECT_EQ(r[1].level, 0u);
    EXPECT_NE(access(path.c_str(), F_OK), 0);  // no empty dump left behind
    g_logLv = saved;
}

} // namespace

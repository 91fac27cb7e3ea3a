// The buffer sources built without memory behind the buffers: everything
// around allocation and mapping works, the plane table never fills.
#include "BufferTestSupport.h"

#include <fstream>

#include <unistd.h>

using namespace tamo;
using namespace buffertest;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;

namespace {

TEST(GrallocPlaceholder, AllocatesNothingAndNeverMaps)
{
    LevelGuard guard;
    g_logLv = 1;
    auto buffer = builder(0x32315659, 64, 48).build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(*buffer->getBufferHandle(), nullptr);
    const std::string path = testing::TempDir() + "tamo_placeholder_" + std::to_string(getpid());
    std::ofstream(path) << "pixels";

    LogCapture capture;
    EXPECT_TRUE(buffer->lock("cpu"));
    EXPECT_EQ(buffer->getVa(0), nullptr);
    EXPECT_EQ(buffer->unlock("cpu"), -1);
    EXPECT_EQ(buffer->unlock("never locked"), -1);
    EXPECT_FALSE(buffer->loadFromFile(path));
    EXPECT_FALSE(buffer->saveToFile(path));
    EXPECT_EQ(lines(capture), (Lines{"getVa: lock before get va",
                                     "loadFromFile: buffer not mapped [" + path + "]",
                                     "saveToFile: buffer not mapped [" + path + "]"}));
    EXPECT_EQ(access(path.c_str(), F_OK), 0);  // the caller's file stays
}

} // namespace

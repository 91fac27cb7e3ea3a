// The buffer sources built without memory behind the buffers: everything
// around allocation and mapping works, the plane table never fills.
#include "BufferTestSupport.h"

#include <fstream>

#include <unistd.h>

using namespace buffertest;

TEST(GrallocPlaceholder, AllocatesNothingAndNeverMaps)
{
    LevelGuard level(1);
    auto buffer = builder(0x32315659, 64, 48).build();
    ASSERT_TRUE(buffer && *buffer->getBufferHandle() == nullptr);
    const std::string path = testing::TempDir() + "tamo_placeholder_" + std::to_string(getpid());
    std::ofstream(path) << "pixels";
    LogCapture capture;
    EXPECT_TRUE(buffer->lock("cpu") && buffer->getVa(0) == nullptr && buffer->unlock("cpu") == -1);
    EXPECT_FALSE(buffer->loadFromFile(path) || buffer->saveToFile(path));
    const std::string tail = " buffer not mapped [" + path + "]";
    EXPECT_EQ(lines(capture), (Lines{"getVa: lock before get va", "loadFromFile:" + tail, "saveToFile:" + tail}));
    std::string kept;
    std::getline(std::ifstream(path), kept);
    EXPECT_EQ(kept, "pixels"); // refused before the caller's file was touched
    EXPECT_EQ(unlink(path.c_str()), 0);
}

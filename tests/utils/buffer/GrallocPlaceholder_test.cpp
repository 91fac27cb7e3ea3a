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
    const std::string missing = "/nonexistent-dir/x.raw";
    std::ofstream(path) << "pixels";
    LogCapture capture;
    EXPECT_TRUE(buffer->lock("cpu") && buffer->getVa(0) == nullptr && buffer->unlock("cpu") == -1);
    EXPECT_EQ(buffer->unlock("cpu"), -1);
    // The file is opened first; a save that creates one takes it back.
    EXPECT_FALSE(buffer->loadFromFile(path) || buffer->saveToFile(path + ".new") || buffer->saveToFile(missing));
    EXPECT_FALSE(std::ifstream(path + ".new").is_open());
    EXPECT_EQ(lines(capture), (Lines{"getVa: lock before get va", "loadFromFile: buffer not mapped [" + path + "]",
                                     "saveToFile: buffer not mapped [" + path + ".new]",
                                     "saveToFile: open fail(2) No such file or directory [" + missing + "]"}));
    EXPECT_EQ(unlink(path.c_str()), 0);
}

// The buffer sources built without memory behind the buffers: everything
// around allocation and mapping works, the plane table never fills.
#include "BufferTestSupport.h"

#include <fstream>

#include <unistd.h>

using namespace buffertest;

TEST(GrallocPlaceholder, AllocatesNothingAndNeverMaps)
{
    auto buffer = builder(0x32315659, 64, 48).build();
    ASSERT_TRUE(buffer && *buffer->getBufferHandle() == nullptr);
    const std::string path = testing::TempDir() + "tamo_placeholder_" + std::to_string(getpid());
    const std::string open = "open fail(2) No such file or directory [/nonexistent-dir/x.raw]";
    std::ofstream(path) << "pixels";
    Logged capture(1);
    EXPECT_TRUE(buffer->lock("cpu") && buffer->getVa(0) == nullptr && buffer->unlock("cpu") == -1);
    EXPECT_EQ(buffer->unlock("cpu"), -1);
    // The file is opened first; a save that creates one takes it back.
    EXPECT_FALSE(buffer->loadFromFile(path) || buffer->saveToFile(path + ".new") ||
                 buffer->saveToFile("/nonexistent-dir/x.raw") || buffer->loadFromFile("/nonexistent-dir/x.raw"));
    EXPECT_FALSE(std::ifstream(path + ".new").is_open());
    EXPECT_EQ(lines(capture), (Lines{"0 getVa: lock before get va", "0 loadFromFile: buffer not mapped [" + path + "]",
                                     "0 saveToFile: buffer not mapped [" + path + ".new]", "0 saveToFile: " + open,
                                     "0 loadFromFile: " + open}));
    EXPECT_EQ(unlink(path.c_str()), 0);
}

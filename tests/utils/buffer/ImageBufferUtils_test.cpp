#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>

using tamo::ImageBufferUtils;
using tamo::host::LogCapture;

namespace {

struct Row {
    unsigned int format;
    const char* name;
    unsigned int planes;
};

const Row kAllocatable[] = {
    {0x10, "nv16", 2},  {0x11, "nv21", 2},          {0x14, "yuy2", 1},
    {0x20, "raw16", 1}, {0x23, "YCBCR_420_888", 2}, {0x25, "raw10", 1},
    {0x26, "raw12", 1}, {0x20203859, "Y8", 1},      {0x20363159, "Y16", 1},
    {0x32315659, "yv12", 3},
};

TEST(ImageBufferUtils, KnownFormatsAnswerSilently)
{
    LogCapture capture;
    for (const Row& r : kAllocatable) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(r.format), r.planes);
        EXPECT_EQ(ImageBufferUtils::getFormatString(r.format), r.name);
        EXPECT_EQ(ImageBufferUtils::getAllocationFormat(r.format), r.format);
        EXPECT_EQ(ImageBufferUtils::getAllocationWidth(r.format, 640, 480), 640u);
        EXPECT_EQ(ImageBufferUtils::getAllocationHeight(r.format, 640, 480), 480u);
    }
    EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x21), 1u);
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x21), "Jpeg");
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x21), 0x21u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x21, 4000, 3000), 36000000u);
    EXPECT_EQ(ImageBufferUtils::getAllocationHeight(0x21, 4000, 3000), 1u);
    // 32-bit arithmetic: 3 * (2^32 + 2^16) wraps to 3 * 2^16.
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x21, 0x10000, 0x10001), 0x30000u);
    // ImplementationDefined has a name and nothing else.
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x22), "ImplementationDefined");
    EXPECT_TRUE(capture.records().empty());
}

TEST(ImageBufferUtils, UnknownFormatsLogAndFallBack)
{
    LogCapture capture;
    EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(0x22), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x22, 640, 480), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationHeight(0x22, 640, 480), 0u);
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x22), 0x4001u);
    EXPECT_EQ(ImageBufferUtils::getFormatString(0x4010), "");

    auto r = capture.records();
    ASSERT_EQ(r.size(), 5u);
    const char* functions[] = {"getNumberOfPlanes", "getAllocationWidth", "getAllocationHeight",
                               "getAllocationFormat", "getFormatString"};
    for (size_t i = 0; i < r.size(); i++) {
        EXPECT_EQ(r[i].level, 0u);
        EXPECT_EQ(r[i].file, "GrallocBuffer.cpp");
        EXPECT_EQ(r[i].function, functions[i]);
    }
    EXPECT_EQ(r[0].message, "format not found.");
    EXPECT_EQ(r[1].message, "format not found.");
    EXPECT_EQ(r[2].message, "format not found.");
    EXPECT_EQ(r[3].format, "Currently not support format 0x%x");
    EXPECT_EQ(r[3].message, "Currently not support format 0x22");
    EXPECT_EQ(r[4].format, "format not found. 0x%x");
    EXPECT_EQ(r[4].message, "format not found. 0x4010");
}

TEST(ImageBufferUtils, VendorBlockHasPlaneCountsOnly)
{
    LogCapture capture;
    for (unsigned int f : {0x4001u, 0x4002u, 0x4003u, 0x4004u, 0x4005u, 0x4007u, 0x400Eu, 0x400Fu})
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(f), 1u) << std::hex << f;
    for (unsigned int f : {0x400Bu, 0x400Cu, 0x400Du, 0x4010u, 0x4011u})
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(f), 2u) << std::hex << f;
    EXPECT_TRUE(capture.records().empty());

    for (unsigned int f : {0x4006u, 0x4008u, 0x4009u, 0x400Au, 0x4000u, 0x4012u})
        EXPECT_EQ(ImageBufferUtils::getNumberOfPlanes(f), 0u) << std::hex << f;
    EXPECT_EQ(capture.count("format not found.", 0), 6u);

    capture.clear();
    // The fallback format is itself refused.
    EXPECT_EQ(ImageBufferUtils::getAllocationFormat(0x4001), 0x4001u);
    EXPECT_EQ(ImageBufferUtils::getAllocationWidth(0x4001, 8, 8), 0u);
    EXPECT_EQ(capture.records().size(), 2u);
}

} // namespace

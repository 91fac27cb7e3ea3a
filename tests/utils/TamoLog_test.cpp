#include "TamoLog.h"

#include <gtest/gtest.h>

#include <TamoLogCapture.h>

#include <cstring>
#include <string>

using tamo::host::LogCapture;

namespace {

struct LevelGuard {
    uint32_t saved = tamo::g_logLv;
    ~LevelGuard() { tamo::g_logLv = saved; }
};

TEST(TamoLog, WrapsMessageInLocationPrefixAndFillsPlaceholders)
{
    LogCapture capture;
    const int line = __LINE__ + 1;
    TAMO_LOGE("Cannot find session %u in the map", 7u);

    auto records = capture.records();
    ASSERT_EQ(records.size(), 1u);
    const auto& r = records[0];
    EXPECT_EQ(r.tag, "tamo");
    EXPECT_EQ(r.level, 0u);
    EXPECT_EQ(r.fmt, "TamoLog_test.cpp:" + std::to_string(line) +
                         " TestBody() Cannot find session %u in the map");
    EXPECT_EQ(r.text, "TamoLog_test.cpp:" + std::to_string(line) +
                          " TestBody() Cannot find session 7 in the map");
    EXPECT_EQ(r.function, "TestBody");
    EXPECT_EQ(r.format, "Cannot find session %u in the map");
    EXPECT_EQ(r.message, "Cannot find session 7 in the map");
}

TEST(TamoLog, LevelsAndFunctionNameOfLambdas)
{
    LevelGuard guard;
    tamo::g_logLv = 0;
    LogCapture capture;
    TAMO_LOGW("w");
    TAMO_LOGI("i %s", "x");
    [] { TAMO_LOGV("from lambda %d", -3); }();

    auto records = capture.records();
    ASSERT_EQ(records.size(), 3u);  // ungated macros call through whatever the level
    EXPECT_EQ(records[0].level, 1u);
    EXPECT_EQ(records[1].level, 2u);
    EXPECT_EQ(records[1].message, "i x");
    EXPECT_EQ(records[2].level, 3u);
    EXPECT_EQ(records[2].function, "operator()");
    EXPECT_EQ(records[2].message, "from lambda -3");
}

TEST(TamoLog, GatedVariantsTestTheLevelFirst)
{
    LevelGuard guard;
    LogCapture capture;
    for (uint32_t lv = 0; lv <= 3; lv++) {
        tamo::g_logLv = lv;
        TAMO_LOGW_IF_ENABLED("w%u", lv);
        TAMO_LOGI_IF_ENABLED("i%u", lv);
        TAMO_LOGV_IF_ENABLED("v%u", lv);
    }
    EXPECT_FALSE(capture.hasMessage("w0"));
    EXPECT_TRUE(capture.hasMessage("w1"));
    EXPECT_FALSE(capture.hasMessage("i1"));
    EXPECT_TRUE(capture.hasMessage("i2"));
    EXPECT_FALSE(capture.hasMessage("v2"));
    EXPECT_TRUE(capture.hasMessage("v3"));
    EXPECT_EQ(capture.records().size(), 3u + 2u + 1u);
}

TEST(TamoLog, PrefixIsBoundedAndUsesBaseName)
{
    char buf[tamo::logging::kLogLineSize];
    std::memset(buf, 'x', sizeof(buf));
    tamo::logging::formatPrefix(buf, sizeof(buf), "a/b/c/file.cpp", 12, "fn", "msg %d");
    EXPECT_STREQ(buf, "file.cpp:12 fn() msg %d");

    tamo::logging::formatPrefix(buf, sizeof(buf), "nofolder.cpp", 1, "fn", "m");
    EXPECT_STREQ(buf, "nofolder.cpp:1 fn() m");

    // A message longer than the line is cut, never written past it.
    std::string longMessage(4000, 'm');
    char guarded[tamo::logging::kLogLineSize + 16];
    std::memset(guarded, '#', sizeof(guarded));
    tamo::logging::formatPrefix(guarded, tamo::logging::kLogLineSize, "f.cpp", 1, "fn",
                                longMessage.c_str());
    EXPECT_EQ(std::strlen(guarded), tamo::logging::kLogLineSize - 1);
    for (size_t i = tamo::logging::kLogLineSize; i < sizeof(guarded); i++)
        EXPECT_EQ(guarded[i], '#');
}

} // namespace

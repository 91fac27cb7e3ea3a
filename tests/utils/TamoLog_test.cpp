#include "TamoLog.h"

#include <gtest/gtest.h>

#include "LogLines.h"

using testsupport::LevelGuard;
using tamo::host::LogCapture;

namespace {

TEST(TamoLog, PrefixesTheLocationAndLeavesPlaceholdersToThePrinter)
{
    LevelGuard guard(0); // the plain macros call through whatever the level
    LogCapture capture;
    const std::string at = "TamoLog_test.cpp:" + std::to_string(__LINE__ + 1);
    TAMO_LOGE("Cannot find session %u in the map", 7u);
    TAMO_LOGW("w");
    TAMO_LOGI("i %s", "x");
    [] { TAMO_LOGV("from lambda %d %lu", -3, 4ul); }();

    EXPECT_EQ(testsupport::lines(capture), (testsupport::Lines{"0 TestBody: Cannot find session 7 in the map",
                                                               "1 TestBody: w", "2 TestBody: i x",
                                                               "3 operator(): from lambda -3 4"}));
    for (const auto& r : capture.records())
        EXPECT_EQ(r.tag, "tamo");
    EXPECT_EQ(capture.records().at(0).fmt, at + " TestBody() Cannot find session %u in the map");
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
    std::string called;
    for (const auto& r : capture.records())
        called += r.message + " ";
    EXPECT_EQ(called, "w1 w2 i2 w3 i3 v3 ");
}

#define TIMES10(s) s s s s s s s s s s

TEST(TamoLog, LineIsBoundedAndNamesTheFileByItsBaseName)
{
    LogCapture capture;
    TAMO_LOGE(TIMES10(TIMES10(TIMES10("mm")))); // 2000 characters
    EXPECT_EQ(capture.records().at(0).fmt.size(), 1023u); // cut to the 1024-byte line
    char buf[64];
    tamo::logging::formatPrefix(buf, sizeof(buf), "a/b/file.cpp", 12, "fn", "msg %d");
    EXPECT_STREQ(buf, "file.cpp:12 fn() msg %d");
    tamo::logging::formatPrefix(buf, sizeof(buf), "nofolder.cpp", 1, "fn", "m");
    EXPECT_STREQ(buf, "nofolder.cpp:1 fn() m");
}

} // namespace

#include "TamoLog.h"

#include <gtest/gtest.h>

#include "LogLines.h"

using namespace testsupport;

namespace {

#define TIMES10(s) s s s s s s s s s s

// The plain macros call through whatever the level; the gated ones test it first.
TEST(TamoLog, PrefixesTheLocationLeavesPlaceholdersToThePrinterAndGatesByLevel)
{
    Logged capture(0);
    const std::string at = "TamoLog_test.cpp:" + std::to_string(__LINE__ + 1);
    TAMO_LOGE("Cannot find session %u in the map", 7u);
    TAMO_LOGW("w");
    TAMO_LOGI("i %s", "x");
    [] { TAMO_LOGV("from lambda %d %lu", -3, 4ul); }();
    for (uint32_t lv = 0; lv <= 3; lv++) {
        tamo::g_logLv = lv;
        TAMO_LOGW_IF_ENABLED("w%u", lv);
        TAMO_LOGI_IF_ENABLED("i%u", lv);
        TAMO_LOGV_IF_ENABLED("v%u", lv);
    }
    const std::string b = " TestBody: ";
    EXPECT_EQ(lines(capture), (Lines{"0" + b + "Cannot find session 7 in the map", "1" + b + "w", "2" + b + "i x",
                                     "3 operator(): from lambda -3 4", "1" + b + "w1", "1" + b + "w2", "2" + b + "i2",
                                     "1" + b + "w3", "2" + b + "i3", "3" + b + "v3"}));
    for (const auto& r : capture.records())
        EXPECT_EQ(r.tag, "tamo");
    EXPECT_EQ(capture.records().at(0).fmt, at + " TestBody() Cannot find session %u in the map");

    // A line is cut to 1024 bytes; a file without a folder is named as it is.
    capture.clear();
    TAMO_LOGE(TIMES10(TIMES10(TIMES10("mm")))); // 2000 characters
    EXPECT_EQ(capture.records().at(0).fmt.size(), 1023u);
    char buf[64];
    tamo::logging::formatPrefix(buf, sizeof(buf), "nofolder.cpp", 1, "fn", "m %d");
    EXPECT_STREQ(buf, "nofolder.cpp:1 fn() m %d");
}

} // namespace

#include "TamoLog.h"

#include <gtest/gtest.h>

#include "LogLines.h"

using namespace testsupport;

namespace {

#define TIMES10(s) s s s s s s s s s s

// Every macro calls through whatever the level (gating is each caller's,
// checked where it logs), under the tag "tamo", with its location prefixed
// to the format and the placeholders left to the printer.
TEST(TamoLog, PrefixesTheLocationAndLeavesPlaceholdersToThePrinter)
{
    Logged capture(0);
    const std::string at = "TamoLog_test.cpp:" + std::to_string(__LINE__ + 1);
    TAMO_LOGE("Cannot find session %u in the map", 7u);
    TAMO_LOGW("w");
    TAMO_LOGI("i %s", "x");
    [] { TAMO_LOGV("from lambda %d %lu", -3, 4ul); }();
    EXPECT_EQ(lines(capture), (Lines{"0 TestBody: Cannot find session 7 in the map", "1 TestBody: w",
                                     "2 TestBody: i x", "3 operator(): from lambda -3 4"}));
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

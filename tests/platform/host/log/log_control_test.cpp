#include <gtest/gtest.h>

#include "LogLines.h"

// Output is filtered by level; a capture records every call, parses the
// location prefix back out, keeps long lines whole, and can keep quiet.
TEST(LogControl, FiltersOutputByLevelButCapturesEveryCall)
{
    testsupport::LevelGuard level(1);
    for (bool quiet : {false, true}) {
        testing::internal::CaptureStderr();
        tamo::host::LogCapture capture(quiet);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_ERROR, "e %d", 1);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_WARN, "w %s", "two");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "x.cpp:42 operator()() got %u of %s", 3u, "y");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_VERBOSE, "%s", std::string(3000, 'z').c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), quiet ? "" : "E/tamo: e 1\nW/tamo: w two\n");
        auto r = capture.records();
        ASSERT_EQ(r.size(), 4u);
        EXPECT_EQ(r[2].file + ":" + std::to_string(r[2].line) + " " + r[2].function + "|" + r[2].format + "|" +
                      r[2].message, "x.cpp:42 operator()|got %u of %s|got 3 of y");
        EXPECT_EQ(r[3].text, std::string(3000, 'z'));
    }
}

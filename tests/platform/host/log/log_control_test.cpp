#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <gtest/gtest.h>

#include <string>

using tamo::host::LogCapture;

namespace {

TEST(LogControl, FiltersOutputByLevelButCapturesEveryCall)
{
    const uint32_t saved = tamo::g_logLv;
    tamo::g_logLv = 1;
    testing::internal::CaptureStderr();
    {
        LogCapture capture(/*quiet=*/false);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_ERROR, "e %d", 1);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_WARN, "w %s", "two");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "x.cpp:42 operator()() got %u of %s", 3u, "y");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_VERBOSE, "%s", std::string(3000, 'z').c_str());
        auto r = capture.records();
        ASSERT_EQ(r.size(), 4u);
        // The prefix is parsed back into its fields.
        EXPECT_EQ(r[2].file + ":" + std::to_string(r[2].line) + " " + r[2].function + "|" + r[2].format + "|" +
                      r[2].message, "x.cpp:42 operator()|got %u of %s|got 3 of y");
        EXPECT_EQ(r[3].text, std::string(3000, 'z')); // long lines stay whole
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "E/tamo: e 1\nW/tamo: w two\n");

    testing::internal::CaptureStderr();
    {
        LogCapture quiet;
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_ERROR, "hidden");
        EXPECT_TRUE(quiet.hasMessage("hidden"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    tamo::g_logLv = saved;
}

} // namespace

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using tamo::host::LogCapture;

namespace {

struct LevelGuard {
    uint32_t saved = tamo::g_logLv;
    ~LevelGuard() { tamo::g_logLv = saved; }
};

TEST(LogControl, FiltersOutputByLevelButCapturesEveryCall)
{
    LevelGuard guard;
    tamo::g_logLv = 1;
    testing::internal::CaptureStderr();
    {
        LogCapture capture(/*quiet=*/false);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_ERROR, "e %d", 1);
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_WARN, "w %s", "two");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "i");
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_VERBOSE, "v");
        EXPECT_EQ(capture.records().size(), 4u);
    }
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out, "E/tamo: e 1\nW/tamo: w two\n");
}

TEST(LogControl, QuietCaptureKeepsStderrClean)
{
    testing::internal::CaptureStderr();
    {
        LogCapture capture;
        tamo::log_dbg_print("tamo", tamo::TAMO_LOG_ERROR, "hidden");
        EXPECT_TRUE(capture.hasMessage("hidden"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(LogControl, ParsesThePrefixAndKeepsLongLinesWhole)
{
    LogCapture capture;
    tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "x.cpp:42 operator()() got %u of %s", 3u, "y");
    std::string longText(3000, 'z');
    tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "%s", longText.c_str());
    tamo::log_dbg_print("tamo", tamo::TAMO_LOG_INFO, "no prefix here");

    auto r = capture.records();
    ASSERT_EQ(r.size(), 3u);
    EXPECT_EQ(r[0].file, "x.cpp");
    EXPECT_EQ(r[0].line, 42);
    EXPECT_EQ(r[0].function, "operator()");
    EXPECT_EQ(r[0].format, "got %u of %s");
    EXPECT_EQ(r[0].message, "got 3 of y");
    EXPECT_EQ(r[1].text, longText);
    EXPECT_EQ(r[2].function, "");
    EXPECT_EQ(r[2].message, "no prefix here");
    EXPECT_EQ(capture.count("got %u of %s", 2), 1u);
    EXPECT_EQ(capture.count("got %u of %s", 0), 0u);
}

TEST(LogControl, ConcurrentWritersLoseNothing)
{
    LogCapture capture;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < 500; i++)
                tamo::log_dbg_print("tamo", tamo::TAMO_LOG_VERBOSE, "t%d i%d", t, i);
        });
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(capture.records().size(), 2000u);
    EXPECT_TRUE(capture.hasMessage("t3 i499"));
}

} // namespace

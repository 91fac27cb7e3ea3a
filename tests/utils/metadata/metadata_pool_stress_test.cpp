#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "MetadataTestUtil.h"

using namespace metadata_test;

namespace {

constexpr unsigned int kThreads = 8, kSessions = 4, kRounds = 500;

// Eight threads on four sessions. Each round a thread makes a whole request
// round trip of its own and merges one result into request 1 of the session,
// which every thread shares and which outgrows its buffer on the way; one
// thread dumps the pool and one registers more sessions meanwhile. Every
// merged value must be there exactly once, and only the shared requests may
// remain.
TEST(MetadataPoolStress, EightThreadsOnFourSessionsLoseAndDuplicateNothing)
{
    LevelGuard level(3);            // dumps render every line
    tamo::host::LogCapture capture; // quiet
    tamo::MetadataPool pool;
    for (unsigned int s = 1; s <= kSessions; s++)
        ASSERT_TRUE(pool.addSessionEntry(s) == 0 && pool.addRequestEntry(s, 1, nullptr) == 0);
    std::atomic<unsigned int> failures{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            while (!go)
                std::this_thread::yield();
            for (unsigned int r = 0; r < kRounds; r++) {
                const unsigned int session = (t + r) % kSessions + 1, request = (t + 1) * 100000 + r;
                const int32_t v = int32_t(request);
                // Results of two values, so that every merge brings data bytes.
                const bool ok = pool.addRequestEntry(session, request, object(ints(1, 0, {{C, 1}}, v))) == 0 &&
                                pool.updateMetadata(session, request, RESULT, object(ints(1, 8, {{P, 2}}, v))) &&
                                values(pool.getMetadata(session, request, REQUEST), C) == std::vector<int32_t>{v} &&
                                values(pool.getMetadata(session, request, RESULT), P) == std::vector<int32_t>{v, v + 1} &&
                                pool.removeRequestEntry(session, request) == 0 &&
                                pool.updateMetadata(session, 1, RESULT, object(ints(1, 8, {{T, 2}}, v)));
                failures += !ok;
                if (t == 0 && r % 16 == 0) {
                    pool.dump();
                    capture.clear();
                }
                if (t == 1 && r % 32 == 0)
                    pool.addSessionEntry(100 + r);
            }
        });
    }
    go = true;
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(failures, 0u);

    std::vector<int32_t> merged, wanted;
    for (unsigned int s = 1; s <= kSessions; s++) {
        camera_metadata_t* result = pool.getMetadata(s, 1, RESULT)->getFwkMetadata();
        camera_metadata_ro_entry_t e;
        for (size_t i = 0; i < get_camera_metadata_entry_count(result); i++) {
            ASSERT_TRUE(get_camera_metadata_ro_entry(result, i, &e) == 0 && e.tag == T && e.count == 2 &&
                        e.data.i32[1] == e.data.i32[0] + 1);
            merged.push_back(e.data.i32[0]);
        }
    }
    EXPECT_GT(merged.size() / kSessions, 400u); // the shared results did grow
    capture.clear();
    for (unsigned int t = 0; t < kThreads; t++) {
        for (unsigned int r = 0; r < kRounds; r++) {
            wanted.push_back(int32_t((t + 1) * 100000 + r));
            EXPECT_EQ(pool.getMetadata((t + r) % kSessions + 1, (t + 1) * 100000 + r, RESULT), nullptr);
        }
    }
    std::sort(merged.begin(), merged.end());
    EXPECT_EQ(merged, wanted);
    EXPECT_EQ(capture.count("Cannot find request %u", 0), kThreads * kRounds);
}

} // namespace

#include <tamo/MetadataPool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "MetadataTestUtil.h"

using namespace metadata_test;
using tamo::MetadataPool;

namespace {

constexpr unsigned int kThreads = 8, kSessions = 4, kShared = 1, kRounds = 500;

// A one-entry object of two int32 values, so that every append brings data
// bytes and a result that outgrows its 400 entries keeps them.
std::shared_ptr<tamo::Metadata> pair(uint32_t tag, int32_t value)
{
    return object(ints(1, 8, {{tag, 2}}, value));
}

// Eight threads on four sessions. Each round a thread makes a whole request
// round trip of its own and merges one result into the one request of the
// session that every thread shares, which outgrows its buffer on the way; one thread dumps the
// pool and one registers more sessions meanwhile. Every merged value must be
// there exactly once, and only the shared requests may remain.
TEST(MetadataPoolStress, EightThreadsOnFourSessionsLoseAndDuplicateNothing)
{
    LevelGuard level(3); // dumps render every line
    tamo::host::LogCapture capture; // quiet
    MetadataPool pool;
    for (unsigned int s = 1; s <= kSessions; s++) {
        pool.addSessionEntry(s);
        for (unsigned int r = 1; r <= kShared; r++)
            ASSERT_EQ(pool.addRequestEntry(s, r, nullptr), 0);
    }
    std::atomic<unsigned int> failures{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            while (!go)
                std::this_thread::yield();
            for (unsigned int r = 0; r < kRounds; r++) {
                const unsigned int session = (t + r) % kSessions + 1, request = (t + 1) * 100000 + r;
                const int32_t value = int32_t(request);
                bool ok = pool.addRequestEntry(session, request, object(ints(1, 0, {{C, 1}}, value))) == 0 &&
                          pool.updateMetadata(session, request, RESULT, pair(P, value));
                ok = ok && values(pool.getMetadata(session, request, REQUEST), C) == std::vector<int32_t>{value} &&
                     values(pool.getMetadata(session, request, RESULT), P) == std::vector<int32_t>{value, value + 1};
                ok = ok && pool.removeRequestEntry(session, request) == 0;
                const unsigned int shared = (t + r) / kSessions % kShared + 1;
                ok = ok && pool.updateMetadata(session, shared, RESULT, pair(T, value));
                if (!ok)
                    failures++;
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
    for (unsigned int t = 0; t < kThreads; t++)
        for (unsigned int r = 0; r < kRounds; r++)
            wanted.push_back(int32_t((t + 1) * 100000 + r));
    for (unsigned int s = 1; s <= kSessions; s++) {
        for (unsigned int r = 1; r <= kShared; r++) {
            camera_metadata_t* result = pool.getMetadata(s, r, RESULT)->getFwkMetadata();
            for (size_t i = 0; i < get_camera_metadata_entry_count(result); i++) {
                camera_metadata_ro_entry_t e;
                ASSERT_EQ(get_camera_metadata_ro_entry(result, i, &e), 0);
                ASSERT_TRUE(e.tag == T && e.count == 2 && e.data.i32[1] == e.data.i32[0] + 1);
                merged.push_back(e.data.i32[0]);
            }
        }
    }
    std::sort(merged.begin(), merged.end());
    EXPECT_EQ(merged, wanted);
    EXPECT_GT(merged.size() / (kSessions * kShared), 400u); // the shared results did grow

    capture.clear();
    for (unsigned int t = 0; t < kThreads; t++)
        for (unsigned int r = 0; r < kRounds; r++)
            EXPECT_EQ(pool.getMetadata((t + r) % kSessions + 1, (t + 1) * 100000 + r, RESULT), nullptr);
    EXPECT_EQ(capture.count("Cannot find request %u", 0), kThreads * kRounds);
}

} // namespace

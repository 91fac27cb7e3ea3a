#include <tamo/MetadataPool.h>

#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "MetadataTestUtil.h"

using namespace metadata_test;
using tamo::MetadataPool;

namespace {

constexpr auto RESULT = MetadataPool::METADATA_TYPE_RESULT;
constexpr unsigned int kWriters = 4, kRequests = 200, kKept = 65;

// Each writer fills a session of its own, where requests get evicted, and
// makes whole request round trips on two shared sessions; meanwhile a reader
// looks requests up and registers sessions, and a dumper walks everything.
TEST(MetadataPoolStress, ConcurrentRequestsLoseNothing)
{
    LevelGuard level(3);
    tamo::host::LogCapture capture; // quiet: keeps the dumps off the output
    MetadataPool pool;
    pool.addSessionEntry(std::vector<unsigned int>{1, 2, 3, 4, 100, 101});
    std::atomic<unsigned int> failures{0}, writersLeft{kWriters}, dumps{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    auto spawn = [&](auto fn) {
        threads.emplace_back([&go, fn] {
            while (!go)
                std::this_thread::yield();
            fn();
        });
    };
    for (unsigned int own = 1; own <= kWriters; own++) {
        spawn([&, own] {
            for (int r = 1; r <= int(kRequests); r++) {
                const unsigned int shared = 100 + r % 2, request = own * 100000 + r;
                bool ok = pool.addRequestEntry(own, r, object(ints(1, 0, {{C, 1}}, r))) == 0 &&
                          pool.updateMetadata(own, r, RESULT, object(ints(1, 0, {{P, 1}}, own * 1000 + r))) &&
                          pool.addRequestEntry(shared, request, nullptr) == 0;
                for (uint32_t tag : {C, P, T})
                    ok = ok && pool.updateMetadata(shared, request, RESULT, object(ints(1, 0, {{tag, 1}}, request + tag)));
                auto result = pool.getMetadata(shared, request, RESULT);
                for (uint32_t tag : {C, P, T})
                    ok = ok && values(result, tag) == std::vector<int32_t>{int32_t(request + tag)};
                if (!ok || pool.removeRequestEntry(shared, request) != 0)
                    failures++;
            }
            writersLeft--;
        });
    }
    spawn([&] {
        std::mt19937 random(7);
        for (unsigned int i = 0; writersLeft != 0; i++) {
            const int session = 1 + random() % kWriters, r = 1 + random() % kRequests;
            auto settings = pool.getMetadata(session, r, MetadataPool::METADATA_TYPE_REQUEST);
            if (settings != nullptr && values(settings, C) != std::vector<int32_t>{r})
                failures++;
            if (i % 64 == 0)
                pool.addSessionEntry(200 + i / 64 % 8);
        }
    });
    spawn([&] {
        for (; writersLeft != 0; dumps++) {
            pool.dump();
            capture.clear();
        }
    });
    go = true;
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(failures, 0u);
    EXPECT_GT(dumps, 1u);

    // Each writer's session keeps exactly its newest requests, with their results.
    for (unsigned int own = 1; own <= kWriters; own++)
        for (unsigned int r = 1; r <= kRequests; r++)
            EXPECT_EQ(values(pool.getMetadata(own, r, RESULT), P),
                      std::vector<int32_t>{r <= kRequests - kKept ? -1 : int32_t(own * 1000 + r)})
                << own << "/" << r;
}

} // namespace

#include <tamo/MetadataPool.h>

#include <camera_metadata_hidden.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <thread>

#include "MetadataTestUtil.h"
#include "metadata/metadata.h"

using namespace metadata_test;
using namespace std::chrono_literals;
using tamo::Metadata;
using tamo::MetadataPool;
using tamo::host::LogCapture;
using Requests = std::vector<unsigned int>;

namespace {

// Which of the requests 1 to 70 a session holds.
Requests held(MetadataPool& pool, unsigned int sessionId)
{
    LogCapture quiet;
    Requests out;
    for (unsigned int r = 1; r <= 70; r++)
        if (pool.getMetadata(sessionId, r, REQUEST) != nullptr)
            out.push_back(r);
    return out;
}

Requests range(unsigned int first, unsigned int last, Requests out = {})
{
    while (first <= last)
        out.push_back(first++);
    return out;
}

TEST(MetadataPool, RequestEntriesAndLookupFailures)
{
    MetadataPool pool;
    EXPECT_EQ(pool.addSessionEntry(1u), 0);
    auto settings = object(ints(1, 0, {{C, 1}}));
    ASSERT_EQ(pool.addRequestEntry(1, 5, settings), 0);
    ASSERT_EQ(pool.addRequestEntry(1, 6, nullptr), 0);
    EXPECT_EQ(pool.getMetadata(1, 5, REQUEST), settings); // shared, not copied
    auto result = pool.getMetadata(1, 5, RESULT);
    for (const auto& m : {result, pool.getMetadata(1, 6, REQUEST), pool.getMetadata(1, 6, RESULT)}) {
        ASSERT_NE(m, nullptr);
        EXPECT_TRUE(caps(m) == Caps(400, 180000) && get_camera_metadata_entry_count(m->getFwkMetadata()) == 0);
    }
    EXPECT_NE(pool.getMetadata(1, 6, REQUEST), pool.getMetadata(1, 6, RESULT));
    EXPECT_TRUE(pool.updateMetadata(1, 5, RESULT, settings));
    EXPECT_TRUE(pool.updateMetadata(1, 5, RESULT, object(ints(1, 8, {{F, 2}}))));
    EXPECT_EQ(pool.getMetadata(1, 5, RESULT), result); // merged into the stored object
    EXPECT_EQ(values(result, C), std::vector<int32_t>{1});

    LogCapture capture;
    const auto absent = static_cast<MetadataPool::METADATA_TYPE>(2);
    EXPECT_EQ(pool.getMetadata(1, 5, absent), nullptr);
    EXPECT_FALSE(pool.updateMetadata(1, 5, absent, settings));
    set_camera_metadata_vendor_id(result->getFwkMetadata(), 1); // vendors never mix
    set_camera_metadata_vendor_id(settings->getFwkMetadata(), 2);
    EXPECT_FALSE(pool.updateMetadata(1, 5, RESULT, settings));
    EXPECT_EQ(pool.removeRequestEntry(1, 5), 0);
    EXPECT_EQ(pool.removeRequestEntry(1, 5), 0); // already gone: not an error
    EXPECT_EQ(pool.getMetadata(1, 5, RESULT), nullptr);
    EXPECT_FALSE(pool.updateMetadata(1, 5, RESULT, settings));
    EXPECT_EQ(pool.addRequestEntry(9, 1, nullptr), -1);
    EXPECT_EQ(pool.removeRequestEntry(9, 1), -1);
    EXPECT_EQ(pool.getMetadata(9, 1, RESULT), nullptr);
    EXPECT_FALSE(pool.updateMetadata(9, 1, RESULT, settings));
    const std::string check = "0 checkAppendMetaSize: ", noSession = " Cannot find session 9 in the map";
    EXPECT_EQ(lines(capture), Lines({
        "0 getMetadata: Cannot find metadata type(2) in request 5",
        "0 updateMetadata: Cannot find metadata type(2) in request 5", "0 appendMetadata: append TAMO metadata fail",
        check + "target check, entry capacity 400, data capacity 180000, entry count 2, data count 8,",
        check + "append check, entry capacity 1, data capacity 0, entry count 1, data count 0,",
        "0 updateMetadata: Cannot append matadata type(1) in request 5", "0 getMetadata: Cannot find request 5",
        "0 updateMetadata: Cannot find request 5", "0 addRequestEntry:" + noSession,
        "0 removeRequestEntry:" + noSession, "0 getMetadata:" + noSession, "0 updateMetadata:" + noSession}));
    EXPECT_EQ(values(result, F), std::vector<int32_t>({1, 2})); // outlives its entry
}

TEST(MetadataPool, KeepsTheNewest65RequestsOfASession)
{
    MetadataPool pool;
    pool.addSessionEntry(std::vector<unsigned int>{1, 2});
    pool.addRequestEntry(2, 1, nullptr);
    for (unsigned int r = 1; r <= 70; r++)
        pool.addRequestEntry(1, r, nullptr);
    EXPECT_EQ(held(pool, 1), range(6, 70));

    // Re-adding on a full table evicts first, then replaces the request's kinds.
    auto settings = object(ints(1, 0, {{C, 1}}));
    pool.addRequestEntry(1, 30, settings);
    EXPECT_EQ(held(pool, 1), range(7, 70));
    EXPECT_EQ(pool.getMetadata(1, 30, REQUEST), settings);
    pool.addRequestEntry(1, 3, nullptr);  // 64 held: nothing evicted
    pool.addRequestEntry(1, 3, settings); // 65: evicts 3 itself, then adds it back
    EXPECT_EQ(held(pool, 1), range(7, 70, {3}));
    EXPECT_EQ(pool.getMetadata(1, 3, REQUEST), settings);

    // Registering a session again drops its requests, and only its own.
    EXPECT_EQ(pool.addSessionEntry(std::vector<unsigned int>{3, 1, 1}), 0);
    EXPECT_EQ(held(pool, 1), Requests{});
    EXPECT_EQ(held(pool, 2), Requests{1});
}

TEST(MetadataPool, DumpShowsEachKindWhateverTheLevel)
{
    MetadataPool pool;
    pool.addSessionEntry(4u);
    pool.addRequestEntry(4, 2, Metadata::create()); // settings without a buffer
    LevelGuard level(3);
    LogCapture capture;
    pool.dump();
    const std::string v = "3 dump: ", t0 = v + "            Type(0):", t1 = v + "            Type(1):";
    Lines expected = {v + "MetadataPool Dump begin", v + "    Session: id(4)", v + "        Request 2:", t0,
                      "0 dump: dumpMeta, metadata is null", t1, v + "Dumping 0 entries", v + "MetadataPool Dump end"};
    if (lines(capture).at(3) == t1) // kinds come in table order
        std::rotate(expected.begin() + 3, expected.begin() + 5, expected.begin() + 7);
    EXPECT_EQ(lines(capture), expected);

    tamo::g_logLv = 0;
    capture.clear();
    pool.dump();
    EXPECT_EQ(lines(capture), Lines({"0 dump: dumpMeta, metadata is null"}));
}

// Settings whose buffer is handed over only once released, so that merging
// them holds the session lock for as long as the test needs.
struct GateMetadata : tamo::MetadataImpl {
    camera_metadata* getFwkMetadata() override
    {
        entered = true;
        released.wait();
        return settings->getFwkMetadata();
    }
    std::atomic<bool> entered{false};
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::shared_ptr<Metadata> settings = object(ints(1, 0, {{C, 1}}));
};

template <typename Pred>
bool waitUntil(Pred pred)
{
    for (int i = 0; i < 5000 && !pred(); i++)
        std::this_thread::sleep_for(1ms);
    return pred();
}

TEST(MetadataPool, OnlyDumpHoldsASessionLockUnderThePoolLock)
{
    LevelGuard level(3);
    MetadataPool pool;
    pool.addSessionEntry(std::vector<unsigned int>{1, 2});
    pool.addRequestEntry(1, 10, nullptr);
    pool.addRequestEntry(2, 20, nullptr);

    // A holds session 1's lock while it merges; B then waits for that lock.
    auto gate = std::make_shared<GateMetadata>();
    auto a = std::async(std::launch::async, [&] { return pool.updateMetadata(1, 10, RESULT, gate); });
    ASSERT_TRUE(waitUntil([&] { return gate->entered.load(); }));
    std::atomic<long> bThread{0};
    auto b = std::async(std::launch::async, [&] {
        bThread = syscall(SYS_gettid);
        return pool.getMetadata(1, 10, RESULT);
    });
    EXPECT_TRUE(waitUntil([&] { // asleep: on the session lock, the only one held
        std::ifstream stat("/proc/self/task/" + std::to_string(bThread) + "/stat");
        std::string s;
        std::getline(stat, s);
        return bThread != 0 && s.find(") S ") != std::string::npos;
    }));

    // Neither holds the pool lock, so the pool and other sessions carry on.
    auto others = std::async(std::launch::async, [&] {
        return pool.addSessionEntry(3u) == 0 && pool.addRequestEntry(2, 21, nullptr) == 0 &&
               pool.updateMetadata(2, 20, RESULT, object(ints(1, 0, {{C, 1}}))) &&
               pool.getMetadata(2, 20, RESULT) != nullptr && pool.removeRequestEntry(2, 21) == 0;
    });
    EXPECT_EQ(others.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(b.wait_for(0s), std::future_status::timeout);

    // The dump waits for session 1 with the pool lock held.
    LogCapture capture;
    auto d = std::async(std::launch::async, [&] { pool.dump(); });
    EXPECT_TRUE(waitUntil([&] { return capture.hasMessage("    Session: id(1)"); }));
    auto blocked = std::async(std::launch::async, [&] { return pool.addSessionEntry(4u); });
    EXPECT_EQ(blocked.wait_for(100ms), std::future_status::timeout);

    gate->release.set_value();
    EXPECT_TRUE(a.get() && b.get() != nullptr && others.get() && blocked.get() == 0);
    d.get();
    EXPECT_TRUE(capture.hasMessage("MetadataPool Dump end"));
    EXPECT_EQ(values(pool.getMetadata(1, 10, RESULT), C), std::vector<int32_t>{1});
}

} // namespace

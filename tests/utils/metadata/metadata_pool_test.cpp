#include <tamo/MetadataPool.h>

#include <camera_metadata_hidden.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
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
using Lines = std::vector<std::string>;

namespace {

constexpr auto REQUEST = MetadataPool::METADATA_TYPE_REQUEST;
constexpr auto RESULT = MetadataPool::METADATA_TYPE_RESULT;

// Request numbers of a session, in the order the pool's dump lists them.
std::vector<unsigned int> held(MetadataPool& pool, unsigned int sessionId)
{
    LevelGuard level(3);
    LogCapture capture;
    pool.dump();
    std::vector<unsigned int> requests;
    bool inSession = false;
    for (const auto& r : capture.records()) {
        if (r.format == "    Session: id(%u)")
            inSession = r.message == "    Session: id(" + std::to_string(sessionId) + ")";
        else if (inSession && r.format == "        Request %u:")
            requests.push_back(std::stoul(r.message.substr(16)));
    }
    return requests;
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
        EXPECT_EQ(get_camera_metadata_entry_capacity(m->getFwkMetadata()), 400u);
        EXPECT_EQ(get_camera_metadata_data_capacity(m->getFwkMetadata()), 180000u);
        EXPECT_EQ(get_camera_metadata_entry_count(m->getFwkMetadata()), 0u);
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

TEST(MetadataPool, EvictsTheSmallestRequestAt65)
{
    MetadataPool pool;
    pool.addSessionEntry(std::vector<unsigned int>{1, 2});
    std::vector<unsigned int> expected;
    for (unsigned int r = 1; r <= 70; r++)
        pool.addRequestEntry(1, r, nullptr);
    pool.addRequestEntry(2, 1, nullptr);
    for (unsigned int r = 6; r <= 70; r++)
        expected.push_back(r);
    EXPECT_EQ(held(pool, 1), expected);

    // Re-adding on a full table evicts first, then replaces the request's kinds.
    auto settings = object(ints(1, 0, {{C, 1}}));
    pool.addRequestEntry(1, 30, settings);
    expected.erase(expected.begin());
    EXPECT_EQ(held(pool, 1), expected);
    EXPECT_EQ(pool.getMetadata(1, 30, REQUEST), settings);
    pool.addRequestEntry(1, 3, nullptr);  // 64 held: nothing evicted
    pool.addRequestEntry(1, 3, settings); // 65: evicts 3 itself, then adds it back
    expected.insert(expected.begin(), 3);
    EXPECT_EQ(held(pool, 1), expected);
    EXPECT_EQ(pool.getMetadata(1, 3, REQUEST), settings);

    // Registering a session again drops its requests, and only its own.
    EXPECT_EQ(pool.addSessionEntry(std::vector<unsigned int>{3, 1, 1}), 0);
    EXPECT_TRUE(held(pool, 1).empty());
    EXPECT_EQ(held(pool, 2), std::vector<unsigned int>{1});
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
class GateMetadata : public tamo::MetadataImpl {
public:
    camera_metadata* getFwkMetadata() override
    {
        std::unique_lock<std::mutex> lock(mLock);
        mEntered = true;
        mCond.notify_all();
        mCond.wait(lock, [this] { return mReleased; });
        return mSettings->getFwkMetadata();
    }
    bool waitEntered()
    {
        std::unique_lock<std::mutex> lock(mLock);
        return mCond.wait_for(lock, 5s, [this] { return mEntered; });
    }
    void release()
    {
        std::lock_guard<std::mutex> lock(mLock);
        mReleased = true;
        mCond.notify_all();
    }

private:
    std::shared_ptr<Metadata> mSettings = object(ints(1, 0, {{C, 1}}));
    std::mutex mLock;
    std::condition_variable mCond;
    bool mEntered = false, mReleased = false;
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
    ASSERT_TRUE(gate->waitEntered());
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

    gate->release();
    EXPECT_TRUE(a.get());
    EXPECT_NE(b.get(), nullptr);
    d.get();
    EXPECT_TRUE(others.get());
    EXPECT_EQ(blocked.get(), 0);
    EXPECT_TRUE(capture.hasMessage("MetadataPool Dump end"));
    EXPECT_EQ(values(pool.getMetadata(1, 10, RESULT), C), std::vector<int32_t>{1});
}

} // namespace

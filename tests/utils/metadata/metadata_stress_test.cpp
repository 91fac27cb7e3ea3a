// Eight threads at once on the metadata family: the first use of the vendor
// tag table and of the listing that installs the callbacks, then of the
// characteristics cache (first in this executable, so nothing has touched
// them before), then request round trips on a shared metadata pool.
#include <algorithm>
#include <functional>

#include "MetadataTestUtil.h"

using namespace tamo;
using namespace metadata_test;

namespace {

constexpr int kThreads = 8, kListings = 12, kRounds = 4;
constexpr unsigned int kSessions = 4, kPoolRounds = 500;
constexpr uint32_t kCameras = 10; // the host serves 0-8; 9 has no static metadata

// Runs work(0) ... work(kThreads - 1) on threads that start together.
void together(const std::function<void(int)>& work)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([&, t] {
            for (ready++; ready < kThreads;)
                std::this_thread::yield();
            work(t);
        });
    for (auto& thread : threads)
        thread.join();
}

TEST(VendorTagFirstUseStress, EightThreadsShareOneTableOneInstallationAndOneBuildPerCamera)
{
    Logged capture(2);
    auto environment = std::make_shared<Environ>();
    environment->delay = std::chrono::microseconds(200); // first callers pile up
    environment->cacheSizedHost();
    Platform platform(environment);

    // Every thread lists all vendor tags: the first listing installs the
    // callbacks and builds the framework's table, once.
    std::vector<std::vector<AppVendorTagSection>> listed(kThreads);
    together([&](int t) {
        for (int n = 0; n < kListings; n++)
            VendorTagUtils::getAllVendorTags(listed[t]);
    });
    const size_t one = listed[0].size() / kListings;
    ASSERT_GT(one, 7u);
    for (const auto& sections : listed) { // every listing whole: the same sections with the same tags
        ASSERT_EQ(sections.size(), one * kListings);
        for (size_t i = 0; i < sections.size(); i++)
            EXPECT_EQ(sections[i].tags.size(), listed[0][i % one].tags.size()) << sections[i].sectionName;
    }
    EXPECT_EQ(capture.count("temp setup vendor_tag_ops_t for framework", 2), 1u);
    EXPECT_EQ(environment->sectionCalls, kThreads * kListings);

    // Then every thread asks for every camera, each in its own order.
    capture.clear();
    std::vector<std::vector<std::shared_ptr<Metadata>>> got(kThreads);
    together([&](int t) {
        for (uint32_t n = 0; n < kRounds * kCameras; n++)
            got[t].push_back(StaticMetadataUtils::getCameraCharacteristics((n + t) % kCameras));
    });
    for (int t = 0; t < kThreads; t++)
        for (uint32_t n = 0; n < kRounds * kCameras; n++)
            EXPECT_EQ(got[t][n], got[0][(n + t) % kCameras]);
    EXPECT_TRUE(got[0][8] != nullptr && got[0][9] == nullptr);
    // Nine builds, each logged once; camera 9 asked again on every call.
    const size_t failures = size_t(kThreads) * kRounds;
    EXPECT_EQ(capture.count("[%u]static metadata entry: %u -> %u", 2), 9u);
    EXPECT_EQ(capture.count("updat Characteristics fail", 0), failures);
    EXPECT_EQ(environment->staticCalls, int(9 + failures));
}

// Eight threads on four sessions. Each round a thread makes a whole request
// round trip of its own and merges one result into request 1 of the session,
// which every thread shares and which outgrows its buffer on the way; one
// thread dumps the pool and one registers more sessions meanwhile. Every
// merged value must be there exactly once, and only the shared requests may
// remain.
TEST(MetadataPoolStress, EightThreadsOnFourSessionsLoseAndDuplicateNothing)
{
    Logged capture(3); // quiet; dumps render every line
    MetadataPool pool;
    for (unsigned int s = 1; s <= kSessions; s++)
        ASSERT_TRUE(pool.addSessionEntry(s) == 0 && pool.addRequestEntry(s, 1, nullptr) == 0);
    std::atomic<unsigned int> failures{0};
    together([&](int thread) {
        const unsigned int t = thread;
        for (unsigned int r = 0; r < kPoolRounds; r++) {
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
    for (unsigned int t = 0; t < unsigned(kThreads); t++)
        for (unsigned int r = 0; r < kPoolRounds; r++) {
            wanted.push_back(int32_t((t + 1) * 100000 + r));
            EXPECT_EQ(pool.getMetadata((t + r) % kSessions + 1, (t + 1) * 100000 + r, RESULT), nullptr);
        }
    std::sort(merged.begin(), merged.end());
    EXPECT_EQ(merged, wanted); // a thousand a session: each outgrew its 400 entries
}

} // namespace

// First use, from eight threads at once, of the vendor tag table, of the
// listing that installs the callbacks, and of the characteristics cache.
// Its own executable with one test: nothing has touched any of them before.
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include <tamo/VendorTag.h>
#include <tamo_platform/HostPlatform.h>

#include "MetadataTestUtil.h"

using namespace tamo;

namespace {

// The host platform, counting what it is asked and slow to answer, so that
// first callers pile up.
struct CountingEnviron : platform::IPlatformEnviron {
    void appendVendorTagSections(std::vector<platform::AppVendorTagSection>& sections) override
    {
        sectionCalls++;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        host->appendVendorTagSections(sections);
    }
    const camera_metadata* getStaticMetadata(uint32_t cameraId) override
    {
        staticCalls++;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        return host->getStaticMetadata(cameraId);
    }
    std::shared_ptr<platform::IPlatformEnviron> host = platform::host::createHostEnviron();
    std::atomic<int> sectionCalls{0}, staticCalls{0};
};

constexpr int kThreads = 8, kListings = 25, kRounds = 4;
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
    metadata_test::LevelGuard level(2);
    tamo::host::LogCapture capture;
    auto environment = std::make_shared<CountingEnviron>();
    platform::host::installEnviron(environment);

    // Half the threads resolve every framework tag number, and a few past
    // each section, through the callbacks; half list all vendor tags, which
    // installs the callbacks.
    using Lookup = std::tuple<const char*, const char*, int>;
    std::vector<std::vector<Lookup>> resolved(kThreads / 2);
    std::vector<std::vector<AppVendorTagSection>> listed(kThreads / 2);
    together([&](int t) {
        for (uint32_t section = 0x8000; section <= 0x8009 && t % 2 == 0; section++)
            for (uint32_t tag = section << 16; tag <= (section << 16 | 0x52); tag++)
                resolved[t / 2].emplace_back(VendorTagDescriptorUtils::tamo_get_section_name(nullptr, tag),
                                             VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, tag),
                                             VendorTagDescriptorUtils::tamo_get_tag_type(nullptr, tag));
        for (int n = 0; n < kListings && t % 2 == 1; n++)
            VendorTagUtils::getAllVendorTags(listed[t / 2]);
    });
    size_t known = 0;
    for (const Lookup& l : resolved[0])
        known += std::get<1>(l) != nullptr;
    EXPECT_EQ(known, 108u);
    for (const auto& r : resolved)
        EXPECT_TRUE(r == resolved[0]); // one table: the same strings for all

    // Every listing whole: the same sections with the same tags.
    std::vector<AppVendorTagSection> one;
    VendorTagUtils::getAllVendorTags(one);
    ASSERT_GT(one.size(), 7u);
    for (const auto& sections : listed) {
        ASSERT_EQ(sections.size(), one.size() * kListings);
        for (size_t i = 0; i < sections.size(); i++)
            EXPECT_TRUE(sections[i].sectionName == one[i % one.size()].sectionName &&
                        sections[i].tags.size() == one[i % one.size()].tags.size()) << i;
    }
    EXPECT_EQ(capture.count("temp setup vendor_tag_ops_t for framework", 2), 1u);
    EXPECT_EQ(capture.count("get %u tags from platform", 2), size_t(kThreads / 2 * kListings + 1));
    EXPECT_EQ(environment->sectionCalls, kThreads / 2 * kListings + 1);

    // Then every thread asks for every camera, each in its own order.
    capture.clear();
    std::vector<std::vector<std::shared_ptr<Metadata>>> got(kThreads);
    together([&](int t) {
        for (uint32_t n = 0; n < kRounds * kCameras; n++)
            got[t].push_back(StaticMetadataUtils::getCameraCharacteristics((n + t) % kCameras));
    });
    for (uint32_t camera = 0; camera < kCameras; camera++) {
        std::shared_ptr<Metadata> first = got[0][camera];
        EXPECT_EQ(first == nullptr, camera == 9);
        for (int t = 0; t < kThreads; t++)
            for (uint32_t n = (kCameras + camera - t % kCameras) % kCameras; n < kRounds * kCameras; n += kCameras)
                EXPECT_EQ(got[t][n], first) << camera;
        const MetadataEntryData name = first ? first->getMetadataByTag(0x80010000) : MetadataEntryData{0, nullptr};
        EXPECT_EQ(name.data ? std::string(static_cast<const char*>(name.data), name.count) : "",
                  camera == 9 ? "" : "cam" + std::to_string(camera));
    }
    // Nine builds, each logged once; camera 9 asked again on every call.
    const size_t failures = size_t(kThreads) * kRounds;
    EXPECT_EQ(capture.count("[%u]static metadata entry: %u -> %u", 2), 9u);
    EXPECT_EQ(capture.count("updat Characteristics fail", 0), failures);
    EXPECT_EQ(environment->staticCalls, int(9 + failures));
    platform::host::resetPlatform();
}

} // namespace

/*
 * First use, from eight threads at once, of the vendor tag table, of the
 * listing that installs the callbacks, and of the characteristics cache.
 * Its own executable with one test: nothing has touched any of them before.
 */
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include <TamoLogControl.h>
#include <tamo_platform/HostPlatform.h>
#include <tamo_platform/IPlatformEnviron.h>

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

struct Lookup {
    const char* section;
    const char* name;
    int type;
    bool operator==(const Lookup& o) const { return section == o.section && name == o.name && type == o.type; }
};

// Every number a framework tag could have, and a few past each section.
std::vector<Lookup> resolveAll()
{
    std::vector<Lookup> out;
    for (uint32_t section = 0x8000; section <= 0x8009; section++)
        for (uint32_t index = 0; index <= 0x52; index++) {
            const uint32_t tag = section << 16 | index;
            out.push_back({VendorTagDescriptorUtils::tamo_get_section_name(nullptr, tag),
                           VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, tag),
                           VendorTagDescriptorUtils::tamo_get_tag_type(nullptr, tag)});
        }
    return out;
}

size_t tagCount(const std::vector<AppVendorTagSection>& sections, size_t from, size_t to)
{
    size_t n = 0;
    for (size_t i = from; i < to; i++)
        n += sections[i].tags.size();
    return n;
}

void startTogether(std::vector<std::thread>& threads, std::atomic<int>& ready, int i,
                   const std::function<void(int)>& work)
{
    threads.emplace_back([&ready, i, work] {
        for (ready++; ready < kThreads;)
            std::this_thread::yield();
        work(i);
    });
}

TEST(VendorTagFirstUseStress, EightThreadsShareOneTableOneInstallationAndOneBuildPerCamera)
{
    const uint32_t savedLevel = g_logLv;
    g_logLv = 2;
    tamo::host::LogCapture capture;
    auto environment = std::make_shared<CountingEnviron>();
    platform::host::installEnviron(environment);

    // Half the threads resolve every framework tag number through the
    // callbacks, half list all vendor tags, which installs the callbacks.
    std::vector<std::vector<Lookup>> resolved(kThreads / 2);
    std::vector<std::vector<AppVendorTagSection>> listed(kThreads / 2);
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    for (int t = 0; t < kThreads; t++)
        startTogether(threads, ready, t, [&](int i) {
            if (i % 2 == 0) {
                resolved[i / 2] = resolveAll();
                return;
            }
            for (int n = 0; n < kListings; n++)
                VendorTagUtils::getAllVendorTags(listed[i / 2]);
        });
    for (auto& thread : threads)
        thread.join();

    size_t known = 0;
    for (const Lookup& l : resolved[0])
        known += l.name != nullptr;
    EXPECT_EQ(known, 108u);
    for (const auto& r : resolved)
        EXPECT_TRUE(r == resolved[0]); // one table, the same storage for all

    std::vector<AppVendorTagSection> one;
    VendorTagUtils::getAllVendorTags(one);
    ASSERT_GT(one.size(), 7u);
    const size_t perListing = one.size(), platformTags = tagCount(one, 0, one.size() - 7);
    EXPECT_EQ(tagCount(one, one.size() - 7, one.size()), 108u);
    for (const auto& sections : listed) {
        ASSERT_EQ(sections.size(), perListing * kListings);
        EXPECT_EQ(tagCount(sections, 0, sections.size()), (platformTags + 108) * kListings);
        for (size_t i = 0; i < sections.size(); i++)
            EXPECT_EQ(sections[i].sectionName, one[i % perListing].sectionName);
    }
    EXPECT_EQ(capture.count("temp setup vendor_tag_ops_t for framework", 2), 1u);
    EXPECT_EQ(capture.count("get %u tags from platform", 2), size_t(kThreads / 2 * kListings + 1));
    EXPECT_EQ(environment->sectionCalls, kThreads / 2 * kListings + 1);
    EXPECT_STREQ(get_camera_metadata_tag_name(0x80010001), "LargeSizeThumbnail");

    // Then every thread asks for every camera, each in its own order.
    capture.clear();
    std::vector<std::vector<std::shared_ptr<Metadata>>> got(kThreads);
    threads.clear();
    ready = 0;
    for (int t = 0; t < kThreads; t++)
        startTogether(threads, ready, t, [&](int i) {
            for (uint32_t n = 0; n < kRounds * kCameras; n++)
                got[i].push_back(StaticMetadataUtils::getCameraCharacteristics((n + i) % kCameras));
        });
    for (auto& thread : threads)
        thread.join();

    for (uint32_t camera = 0; camera < kCameras; camera++) {
        std::shared_ptr<Metadata> first = got[0][camera];
        EXPECT_EQ(first == nullptr, camera == 9);
        for (int t = 0; t < kThreads; t++)
            for (uint32_t n = (kCameras + camera - t % kCameras) % kCameras; n < kRounds * kCameras; n += kCameras)
                EXPECT_EQ(got[t][n], first) << camera;
        if (first == nullptr)
            continue;
        const std::string name(static_cast<const char*>(first->getMetadataByTag(0x80010000).data),
                               first->getMetadataByTag(0x80010000).count);
        EXPECT_EQ(name, "cam" + std::to_string(camera));
    }
    // Nine builds, each logged once; camera 9 asked again on every call.
    const size_t failures = size_t(kThreads) * kRounds;
    EXPECT_EQ(capture.count("[%u]static metadata entry: %u -> %u", 2), 9u);
    EXPECT_EQ(capture.count("updat Characteristics fail", 0), failures);
    EXPECT_EQ(environment->staticCalls, int(9 + failures));
    for (const auto& r : capture.withFormat("[%u]static metadata entry: %u -> %u")) {
        unsigned int camera, before, after;
        ASSERT_EQ(std::sscanf(r.message.c_str(), "[%u]static metadata entry: %u -> %u", &camera, &before, &after), 3);
        EXPECT_EQ(after, before + 2) << r.message;
    }
    platform::host::resetPlatform();
    g_logLv = savedLevel;
}

} // namespace

#pragma once

#include <gtest/gtest.h>
#include <system/camera_metadata.h>
#include <camera_metadata_hidden.h>
#include <tamo/Metadata.h>
#include <tamo/MetadataPool.h>
#include <tamo/VendorTag.h>
#include <tamo_platform/HostPlatform.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>

#include "CacheSizedCamera.h"
#include "LogLines.h"

namespace metadata_test {

using namespace testsupport;

// Int32 tags: one element lives in the entry, two or more in the data area.
constexpr uint32_t C = ANDROID_CONTROL_AE_EXPOSURE_COMPENSATION, P = ANDROID_CONTROL_AE_PRECAPTURE_ID,
                   R = ANDROID_CONTROL_AE_REGIONS, T = ANDROID_CONTROL_AF_TRIGGER_ID,
                   F = ANDROID_CONTROL_AE_TARGET_FPS_RANGE;
constexpr auto REQUEST = tamo::MetadataPool::METADATA_TYPE_REQUEST, RESULT = tamo::MetadataPool::METADATA_TYPE_RESULT;

using RawMeta = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;
using Caps = std::pair<size_t, size_t>;

// A buffer of exactly these capacities; entry {tag, n} holds first, first + 1...
inline RawMeta ints(size_t entries, size_t data, std::initializer_list<std::pair<uint32_t, int>> tags,
                    int32_t first = 1)
{
    RawMeta m(allocate_camera_metadata(entries, data), free_camera_metadata);
    for (auto [tag, n] : tags) {
        std::vector<int32_t> v(n);
        std::iota(v.begin(), v.end(), first);
        add_camera_metadata_entry(m.get(), tag, v.data(), n);
    }
    return m;
}

inline std::shared_ptr<tamo::Metadata> object(const RawMeta& raw)
{
    auto meta = tamo::Metadata::create();
    meta->init(raw.get());
    return meta;
}

// An entry's values; {-1} when absent.
template <typename V = int32_t>
std::vector<V> values(const std::shared_ptr<tamo::Metadata>& meta, uint32_t tag)
{
    auto e = meta != nullptr ? meta->getMetadataByTag(tag) : tamo::MetadataEntryData{0, nullptr};
    auto* p = static_cast<const V*>(e.data);
    return p != nullptr ? std::vector<V>(p, p + e.count) : std::vector<V>{V(-1)};
}

// A byte entry as text.
inline std::string text(const std::shared_ptr<tamo::Metadata>& meta, uint32_t tag)
{
    auto e = meta->getMetadataByTag(tag);
    return e.data != nullptr ? std::string(static_cast<const char*>(e.data), e.count) : "absent";
}

inline Caps caps(const std::shared_ptr<tamo::Metadata>& meta)
{
    return {get_camera_metadata_entry_capacity(meta->getFwkMetadata()),
            get_camera_metadata_data_capacity(meta->getFwkMetadata())};
}

// The host platform with buffers of the test's own, counting what it is
// asked; it can answer slowly, and note a call made while `mustHold` is free.
struct Environ : CacheSizedEnviron {
    Environ() : CacheSizedEnviron(false) {}
    void appendVendorTagSections(std::vector<tamo::AppVendorTagSection>& sections) override
    {
        called(sectionCalls);
        CacheSizedEnviron::appendVendorTagSections(sections);
    }
    const camera_metadata* getStaticMetadata(uint32_t id) override
    {
        called(staticCalls);
        return CacheSizedEnviron::getStaticMetadata(id);
    }
    void called(std::atomic<int>& calls)
    {
        calls++;
        std::this_thread::sleep_for(delay);
        if (mustHold != nullptr) // tried from another thread: this one may hold it
            std::thread([this] {
                if (mustHold->try_lock())
                    unlockedCall = true, mustHold->unlock();
            }).join();
    }

    std::atomic<int> sectionCalls{0}, staticCalls{0};
    std::chrono::microseconds delay{0};
    std::mutex* mustHold = nullptr;
    bool unlockedCall = false;
};

// An environment of the test's for a scope, then the host defaults again.
struct Platform {
    explicit Platform(std::shared_ptr<tamo::platform::IPlatformEnviron> e) { tamo::platform::host::installEnviron(e); }
    ~Platform() { tamo::platform::host::resetPlatform(); }
};

} // namespace metadata_test

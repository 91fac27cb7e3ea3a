/*
 * Test doubles of the platform layer: an environment that counts its calls
 * and serves buffers of its own, a tag descriptor that records what it is
 * asked, and guards that restore the host defaults and the log level.
 */
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <TamoLogControl.h>
#include <system/camera_metadata.h>
#include <tamo_platform/HostPlatform.h>

namespace tamo::test {

struct MetadataDeleter {
    void operator()(camera_metadata* m) const { free_camera_metadata(m); }
};
using MetadataBuffer = std::unique_ptr<camera_metadata, MetadataDeleter>;

// `entries` one-element entries of standard byte/int32/float tags: no data bytes.
inline MetadataBuffer makeInlineBuffer(size_t entries)
{
    MetadataBuffer buffer(allocate_camera_metadata(entries, 0));
    const uint32_t zero = 0;
    for (uint32_t tag = 0; tag < 0x400000 && get_camera_metadata_entry_count(buffer.get()) < entries;
         tag += (tag & 0xFFFF) < 0x40 ? 1 : 0x10000 - 0x40) {
        int type = get_camera_metadata_tag_type(tag);
        if (type == TYPE_BYTE || type == TYPE_INT32 || type == TYPE_FLOAT)
            add_camera_metadata_entry(buffer.get(), tag, &zero, 1);
    }
    return buffer;
}

// The host defaults, plus buffers of its own for the cameras given to serve().
class FakeEnviron : public platform::IPlatformEnviron {
public:
    void appendVendorTagSections(std::vector<platform::AppVendorTagSection>& sections) override
    {
        sectionCalls++;
        if (onCall)
            onCall();
        mHost->appendVendorTagSections(sections);
    }

    const camera_metadata* getStaticMetadata(uint32_t cameraId) override
    {
        staticCalls++;
        if (onCall)
            onCall();
        std::lock_guard<std::mutex> guard(mLock);
        auto own = mBuffers.find(cameraId);
        return own != mBuffers.end() ? own->second.get() : mHost->getStaticMetadata(cameraId);
    }

    void serve(uint32_t cameraId, MetadataBuffer buffer)
    {
        std::lock_guard<std::mutex> guard(mLock);
        mBuffers[cameraId] = std::move(buffer);
    }

    std::atomic<int> sectionCalls{0};
    std::atomic<int> staticCalls{0};
    std::function<void()> onCall; // set before installing

private:
    std::shared_ptr<platform::IPlatformEnviron> mHost = platform::host::createHostEnviron();
    std::mutex mLock;
    std::map<uint32_t, MetadataBuffer> mBuffers;
};

class RecordingTagDescriptor : public platform::IPlatformTagDescriptor {
public:
    const char* getSectionName(uint32_t tag) const override { return record(tag, "fake.section"); }
    const char* getTagName(uint32_t tag) const override { return record(tag, "fakeTag"); }
    int getTagType(uint32_t tag) const override { return record(tag, nullptr), TYPE_INT64; }

    mutable std::atomic<uint32_t> lastTag{0};
    mutable std::atomic<int> calls{0};

private:
    const char* record(uint32_t tag, const char* answer) const
    {
        lastTag = tag;
        calls++;
        return answer;
    }
};

struct PlatformGuard {
    explicit PlatformGuard(std::shared_ptr<platform::IPlatformEnviron> environment,
                           std::shared_ptr<platform::IPlatformTagDescriptor> descriptor =
                               platform::host::createHostTagDescriptor())
    {
        platform::host::installEnviron(std::move(environment));
        platform::host::installTagDescriptor(std::move(descriptor));
    }
    ~PlatformGuard() { platform::host::resetPlatform(); }
};

struct LogLevelGuard {
    explicit LogLevelGuard(uint32_t level) { g_logLv = level; }
    ~LogLevelGuard() { g_logLv = saved; }
    uint32_t saved = g_logLv;
};

// True when another thread cannot take the lock right now.
inline bool heldElsewhere(std::mutex& lock)
{
    std::atomic<bool> taken{false};
    std::thread([&] {
        if (lock.try_lock()) {
            taken = true;
            lock.unlock();
        }
    }).join();
    return !taken;
}

} // namespace tamo::test

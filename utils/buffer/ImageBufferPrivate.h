/*
 * The state behind ImageBufferBuilder and ImageBufferManagerBuilder, and
 * the one ImageBufferManager implementation.
 */
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include <tamo/ImageBuffer.h>

namespace tamo {

// What ImageBufferUtils::getAllocationFormat() answers for a format it
// cannot allocate.
constexpr unsigned int kUnsupportedAllocationFormat = 0x4001;

struct ImageBufferBuilder::ImageBufferBuilderImpl {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t format = 0;
    uint32_t rotation = 0;
    uint64_t consumerUsage = 0;
    uint64_t producerUsage = 0;
    int32_t dataspace = -1;
    int32_t streamId = -1;
    bool imported = false;
    native_handle const** bufferHandle = nullptr;
    native_handle const* acquireFence = nullptr;
    std::shared_ptr<PlatformBufferAllocator> allocator;
};

struct ImageBufferManagerBuilder::ImageBufferManagerBuilderImpl {
    uint32_t minCount = 0;
    uint32_t maxCount = 0;
    std::string name = "sample_manager";
    ImageBufferBuilder imageBufferBuilder;
};

class ImageBufferManagerImpl : public ImageBufferManager {
public:
    ImageBufferManagerImpl(std::string name, uint32_t minCount, uint32_t maxCount,
                           ImageBufferBuilder builder);
    ~ImageBufferManagerImpl() override;

    std::shared_ptr<ImageBuffer> acquireImageBuffer() override;
    void releaseImageBuffer(std::shared_ptr<ImageBuffer> buffer) override;
    void releaseResource() override;
    void flush() override;
    uint32_t getMaxBufferCount() const override;
    uint32_t getMinBufferCount() const override;
    uint32_t getFreeBufferCount() const override;
    uint32_t getBusyBufferCount() const override;
    void dump() override;

    // Builds the minimum; true when the free list then holds exactly that.
    bool allocate();

private:
    // Both counts mirror the lists' lengths, for the lock-free getters.
    void updateCounts();

    std::string name;
    uint32_t minCount;
    uint32_t maxCount;
    bool flushed = false;
    std::mutex mutex;
    std::condition_variable cond;
    std::list<std::shared_ptr<ImageBuffer>> freeList;
    std::list<std::shared_ptr<ImageBuffer>> busyList;
    std::atomic<uint32_t> freeCount{0};
    std::atomic<uint32_t> busyCount{0};
    ImageBufferBuilder bufferBuilder;
};

} // namespace tamo

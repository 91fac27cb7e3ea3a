#include <tamo/ImageBuffer.h>
#include <tamo/StreamBuffer.h>

#include <utility>

#include "ImageBufferPrivate.h"
#include "TamoLog.h"

namespace tamo {

ImageBufferImpl::ImageBufferImpl(std::shared_ptr<ImageInfo> info) : info(std::move(info)) {}

ImageBufferImpl::~ImageBufferImpl() = default;

uint32_t ImageBufferImpl::getHeight() const
{
    return info->height;
}

uint32_t ImageBufferImpl::getWidth() const
{
    return info->width;
}

uint32_t ImageBufferImpl::getImageFormat() const
{
    return info->format;
}

uint32_t ImageBufferImpl::getRotation() const
{
    return info->rotation;
}

int32_t ImageBufferImpl::getDataSpace() const
{
    return info->dataspace;
}

uint64_t ImageBufferImpl::getProducerUsage() const
{
    return info->producerUsage;
}

uint64_t ImageBufferImpl::getConsumerUsage() const
{
    return info->consumerUsage;
}

ImageBufferBuilder::ImageBufferBuilder() : impl(std::make_shared<ImageBufferBuilderImpl>()) {}

ImageBufferBuilder& ImageBufferBuilder::setImageFormat(unsigned int format)
{
    impl->format = format;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setSize(unsigned int width, unsigned int height)
{
    impl->width = width;
    impl->height = height;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setConsumerUsage(uint64_t usage)
{
    impl->consumerUsage = usage;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setProducerUsage(uint64_t usage)
{
    impl->producerUsage = usage;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setDataspace(int dataspace)
{
    impl->dataspace = dataspace;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setRotation(unsigned int rotation)
{
    impl->rotation = rotation;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setStreamId(int id)
{
    impl->streamId = id;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setBufferHandle(native_handle const** handle)
{
    impl->bufferHandle = handle;
    impl->imported = true;
    return *this;
}

ImageBufferBuilder& ImageBufferBuilder::setAcquireFence(native_handle const* fence)
{
    impl->acquireFence = fence;
    impl->imported = true;
    return *this;
}

std::shared_ptr<StreamInfo> ImageBufferBuilder::getStreamInfo() const
{
    auto stream = std::make_shared<StreamInfo>();
    stream->streamId = impl->streamId;
    stream->streamType = 0;
    stream->width = impl->width;
    stream->height = impl->height;
    stream->format = impl->format;
    stream->dataSpace = impl->dataspace;
    stream->rotation = impl->rotation;
    stream->producerUsage = impl->producerUsage;
    stream->consumerUsage = impl->consumerUsage;
    stream->overrideFormat = impl->format;
    return stream;
}

std::shared_ptr<ImageBuffer> ImageBufferBuilder::build()
{
    if (impl->width == 0 || impl->height == 0) {
        TAMO_LOGE("Invalid image size %ux%u", impl->width, impl->height);
        return nullptr;
    }
    if (ImageBufferUtils::getAllocationFormat(impl->format) == kUnsupportedAllocationFormat) {
        TAMO_LOGE("format %u not support", impl->format);
        return nullptr;
    }
    // The first description sticks: every later buffer shares it.
    if (impl->allocator == nullptr) {
        auto info = std::make_shared<ImageInfo>();
        info->width = impl->width;
        info->height = impl->height;
        info->reserved = 0;
        info->format = impl->format;
        info->consumerUsage = impl->consumerUsage;
        info->producerUsage = impl->producerUsage;
        info->rotation = impl->rotation;
        info->dataspace = impl->dataspace;
        impl->allocator = std::make_shared<PlatformBufferAllocator>(
                info, impl->imported ? PlatformBufferAllocator::MODE_IMPORT
                                     : PlatformBufferAllocator::MODE_ALLOCATE);
    }
    return impl->allocator->run(impl->bufferHandle, impl->acquireFence);
}

void ImageBufferBuilder::dump() const
{
    TAMO_LOGI_IF_ENABLED("Buffer builder :");
    TAMO_LOGI_IF_ENABLED("\t %s", impl->imported ? "buffer imported" : "buffer allocated");
    TAMO_LOGI_IF_ENABLED("\t Image size : %ux%u", impl->width, impl->height);
    TAMO_LOGI_IF_ENABLED("\t Format %s(%u)",
                         ImageBufferUtils::getFormatString(impl->format).c_str(), impl->format);
    TAMO_LOGI_IF_ENABLED("\t Comsumer usage %lu\t", impl->consumerUsage);
    TAMO_LOGI_IF_ENABLED("\t Producer usage %lu\t", impl->producerUsage);
}

ImageBufferManagerBuilder::ImageBufferManagerBuilder()
    : impl(std::make_shared<ImageBufferManagerBuilderImpl>())
{
}

ImageBufferManagerBuilder& ImageBufferManagerBuilder::setMaxCount(unsigned int count)
{
    impl->maxCount = count;
    return *this;
}

ImageBufferManagerBuilder& ImageBufferManagerBuilder::setMinCount(unsigned int count)
{
    impl->minCount = count;
    return *this;
}

ImageBufferManagerBuilder& ImageBufferManagerBuilder::setName(std::string name)
{
    impl->name = std::move(name);
    return *this;
}

ImageBufferManagerBuilder& ImageBufferManagerBuilder::setImageBufferBuilder(ImageBufferBuilder builder)
{
    impl->imageBufferBuilder = std::move(builder);
    return *this;
}

std::shared_ptr<ImageBufferManager> ImageBufferManagerBuilder::build()
{
    const auto& image = *impl->imageBufferBuilder.impl;
    if (image.width == 0 || image.height == 0) {
        TAMO_LOGE("Invalid image bilder.");
        return nullptr;
    }
    if (impl->maxCount == 0) {
        TAMO_LOGE("empty manager");
        return nullptr;
    }
    if (impl->minCount > impl->maxCount) {
        TAMO_LOGW_IF_ENABLED("min > max");
        impl->maxCount = impl->minCount;
    }

    std::string name = std::move(impl->name);
    impl->name.clear();
    auto manager = std::make_shared<ImageBufferManagerImpl>(std::move(name), impl->minCount,
                                                            impl->maxCount,
                                                            impl->imageBufferBuilder);
    // A pool short of its minimum still serves, growing on demand.
    if (!manager->allocate())
        TAMO_LOGE("Something wrong!!!");
    return manager;
}

ImageBufferManagerImpl::ImageBufferManagerImpl(std::string name, uint32_t minCount,
                                               uint32_t maxCount, ImageBufferBuilder builder)
    : name(std::move(name)), minCount(minCount), maxCount(maxCount),
      bufferBuilder(std::move(builder))
{
}

ImageBufferManagerImpl::~ImageBufferManagerImpl()
{
    if (!busyList.empty())
        TAMO_LOGW_IF_ENABLED("%u buffer not return.", static_cast<uint32_t>(busyList.size()));
}

bool ImageBufferManagerImpl::allocate()
{
    std::lock_guard<std::mutex> guard(mutex);
    for (uint32_t i = 0; i < minCount; i++) {
        auto buffer = bufferBuilder.build();
        if (buffer != nullptr)
            freeList.push_back(std::move(buffer));
        else
            TAMO_LOGE("Buffer allocation fail.");
    }
    updateCounts();
    return freeList.size() == minCount;
}

std::shared_ptr<ImageBuffer> ImageBufferManagerImpl::acquireImageBuffer()
{
    std::unique_lock<std::mutex> lock(mutex);
    cond.wait(lock, [this] {
        return !freeList.empty() || busyList.size() < maxCount || flushed;
    });
    if (flushed) {
        TAMO_LOGI_IF_ENABLED("Signal by flush.");
        return nullptr;
    }

    std::shared_ptr<ImageBuffer> buffer;
    if (!freeList.empty()) {
        buffer = std::move(freeList.front());
        freeList.pop_front();
    } else {
        // Under the lock: a slow allocation holds up every caller.
        buffer = bufferBuilder.build();
    }
    if (buffer == nullptr) {
        TAMO_LOGE("empty buffer");
        return nullptr;
    }
    busyList.push_back(buffer);
    updateCounts();
    return buffer;
}

void ImageBufferManagerImpl::releaseImageBuffer(std::shared_ptr<ImageBuffer> buffer)
{
    std::lock_guard<std::mutex> guard(mutex);
    auto it = busyList.begin();
    while (it != busyList.end() && *it != buffer)
        ++it;
    if (it == busyList.end()) {
        TAMO_LOGE("Return to wrong manager.");
        return;
    }
    busyList.erase(it);
    freeList.push_back(std::move(buffer));
    updateCounts();
    cond.notify_one();
}

void ImageBufferManagerImpl::releaseResource()
{
    std::list<std::shared_ptr<ImageBuffer>> dropped;
    {
        std::lock_guard<std::mutex> guard(mutex);
        dropped.swap(freeList);
        updateCounts();
    }
}

void ImageBufferManagerImpl::flush()
{
    std::lock_guard<std::mutex> guard(mutex);
    flushed = true;
    // One waiter now; the others wake one by one on later releases.
    cond.notify_one();
}

uint32_t ImageBufferManagerImpl::getMaxBufferCount() const
{
    return maxCount;
}

uint32_t ImageBufferManagerImpl::getMinBufferCount() const
{
    return minCount;
}

uint32_t ImageBufferManagerImpl::getFreeBufferCount() const
{
    return freeCount.load(std::memory_order_relaxed);
}

uint32_t ImageBufferManagerImpl::getBusyBufferCount() const
{
    return busyCount.load(std::memory_order_relaxed);
}

void ImageBufferManagerImpl::dump()
{
    TAMO_LOGI_IF_ENABLED("Dump %s", name.c_str());
    TAMO_LOGI_IF_ENABLED("\t max : %u, min : %u", maxCount, minCount);
    TAMO_LOGI_IF_ENABLED("\t Current free buffer %u", getFreeBufferCount());
    TAMO_LOGI_IF_ENABLED("\t Current busy buffer %u", getBusyBufferCount());
    bufferBuilder.dump();
}

void ImageBufferManagerImpl::updateCounts()
{
    freeCount.store(static_cast<uint32_t>(freeList.size()), std::memory_order_relaxed);
    busyCount.store(static_cast<uint32_t>(busyList.size()), std::memory_order_relaxed);
}

} // namespace tamo

#include <tamo/ImageBuffer.h>
#include <tamo/StreamBuffer.h>

#include <utility>

#include "ImageBufferPrivate.h"
#include "StreamBufferPrivate.h"
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
        // A release may have woken this caller for a slot it could not fill;
        // another waiter may still fill it, so pass the wake-up on.
        cond.notify_one();
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

// Stream buffers and sets live here with the image buffers they carry.

namespace {

// Every member is made by StreamBufferBuilder; anything else is left alone.
StreamBufferImpl* asImpl(const std::shared_ptr<StreamBuffer>& buffer)
{
    return dynamic_cast<StreamBufferImpl*>(buffer.get());
}

} // namespace

StreamBufferBuilder::StreamBufferBuilder() : impl(std::make_shared<StreamBufferBuilderImpl>()) {}

StreamBufferBuilder& StreamBufferBuilder::setImageBuffer(std::shared_ptr<ImageBuffer> buffer)
{
    impl->imageBuffer = std::move(buffer);
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setImageBufferBuilder(ImageBufferBuilder& builder)
{
    impl->imageBuffer = builder.build();
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setImageBufferRequestor(std::shared_ptr<IBufferRequestor> requestor)
{
    impl->requestor = std::move(requestor);
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setStreamBufferInfo(const platform::AppStreamBuffer& info)
{
    impl->streamBufferInfo = std::make_shared<platform::AppStreamBuffer>(info);
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setStreamInfo(const StreamInfo& info, bool useOverrideFormat)
{
    impl->streamInfo = std::make_shared<StreamInfo>(info);
    if (useOverrideFormat)
        impl->streamInfo->format = impl->streamInfo->overrideFormat;
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setStreamInfo(std::shared_ptr<StreamInfo> info)
{
    impl->streamInfo = std::move(info);
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setStreamId(int streamId)
{
    impl->streamId = streamId;
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setRequestNumber(unsigned int requestNumber)
{
    impl->requestNumber = requestNumber;
    return *this;
}

StreamBufferBuilder& StreamBufferBuilder::setCollector(std::weak_ptr<IBufferCollector> collector)
{
    impl->collector = std::move(collector);
    return *this;
}

std::shared_ptr<StreamBuffer> StreamBufferBuilder::build()
{
    if (impl->imageBuffer == nullptr && impl->requestor == nullptr) {
        TAMO_LOGE("empty source");
        return nullptr;
    }
    if (impl->imageBuffer != nullptr && impl->requestor != nullptr) {
        TAMO_LOGE("invalid source");
        return nullptr;
    }
    // A buffer asked of a pool must have a way back to it.
    if (impl->requestor != nullptr && impl->collector.expired()) {
        TAMO_LOGE("requested buffer cannot return");
        return nullptr;
    }
    if (impl->streamInfo == nullptr) {
        TAMO_LOGE("no stream info");
        return nullptr;
    }

    auto buffer = std::make_shared<StreamBufferImpl>();
    buffer->collector = impl->collector;
    buffer->imageBuffer = impl->imageBuffer;
    buffer->streamBufferInfo = impl->streamBufferInfo;
    buffer->streamInfo = impl->streamInfo;
    buffer->requestNumber = impl->requestNumber;
    buffer->requestor = impl->requestor;
    // Rewrites the record for all its holders; id 0 cannot be forced.
    if (impl->streamId >= 1)
        impl->streamInfo->streamId = impl->streamId;
    return buffer;
}

std::shared_ptr<ImageBuffer> StreamBufferImpl::getImageBuffer()
{
    // An empty answer is kept too, so the next call asks again.
    if (imageBuffer == nullptr)
        imageBuffer = requestor->requestBuffer(streamInfo);
    return imageBuffer;
}

std::shared_ptr<StreamInfo> StreamBufferImpl::getStreamInfo()
{
    return streamInfo;
}

uint32_t StreamBufferImpl::getRequestNumber()
{
    return requestNumber;
}

void StreamBufferImpl::setBufferStatus(platform::AppBufferStatus status)
{
    bufferStatus = status;
}

platform::AppBufferStatus StreamBufferImpl::getBufferStatus()
{
    return bufferStatus;
}

std::string StreamBufferImpl::getInfo()
{
    return "[" + std::to_string(streamInfo->streamId) + "]" +
           ImageBufferUtils::getFormatString(streamInfo->format);
}

std::string StreamBufferImpl::getStatus()
{
    return getInfo() + (bufferStatus == platform::AppBufferStatus::ERROR ? "(err) " : "(ok) ");
}

void StreamBufferImpl::dump()
{
    // Dumping never asks the requestor for a buffer.
    if (imageBuffer == nullptr) {
        TAMO_LOGE("no image buffer to dump");
        return;
    }
    imageBuffer->dump();
}

bool StreamBufferImpl::releaseBuffer()
{
    if (released)
        return false;
    auto receiver = collector.lock();
    if (receiver == nullptr)
        return false;
    receiver->collectBuffer(shared_from_this());
    released = true;
    return true;
}

StreamBufferSetBuilder::StreamBufferSetBuilder() : impl(std::make_shared<StreamBufferSetBuilderImpl>()) {}

StreamBufferSetBuilder::StreamBufferSetBuilder(int streamId) : StreamBufferSetBuilder()
{
    impl->streamIdFilter = streamId;
}

StreamBufferSetBuilder& StreamBufferSetBuilder::setStreamBuffers(const std::vector<std::shared_ptr<StreamBuffer>>& buffers)
{
    for (const auto& buffer : buffers)
        setStreamBuffer(buffer);
    return *this;
}

StreamBufferSetBuilder& StreamBufferSetBuilder::setStreamBuffer(std::shared_ptr<StreamBuffer> buffer)
{
    // An empty pointer is dropped like a buffer of another stream: a set
    // never hands one to its collector.
    if (buffer == nullptr)
        return *this;
    if (impl->streamIdFilter != -1) {
        auto info = buffer->getStreamInfo();
        if (info == nullptr || info->streamId != impl->streamIdFilter)
            return *this;
    }
    impl->streamBuffers.push_back(std::move(buffer));
    return *this;
}

StreamBufferSetBuilder& StreamBufferSetBuilder::setCollector(std::weak_ptr<IBufferCollector> collector)
{
    impl->collector = std::move(collector);
    return *this;
}

std::shared_ptr<StreamBufferSet> StreamBufferSetBuilder::build()
{
    if (impl->streamBuffers.empty()) {
        TAMO_LOGE("stream buffer set no source.");
        return nullptr;
    }
    if (impl->collector.expired()) {
        TAMO_LOGE("no collector");
        return nullptr;
    }
    auto set = std::make_shared<StreamBufferSetImpl>(impl->streamBuffers, impl->collector);
    // The newest set wins a buffer offered to several.
    for (const auto& buffer : impl->streamBuffers)
        if (auto member = asImpl(buffer))
            member->bufferSet = set;
    return set;
}

StreamBufferSetImpl::StreamBufferSetImpl(std::vector<std::shared_ptr<StreamBuffer>> buffers,
                                         std::weak_ptr<IBufferCollector> collector)
    : size(static_cast<uint32_t>(buffers.size())), streamBuffers(std::move(buffers)),
      collector(std::move(collector))
{
}

uint32_t StreamBufferSetImpl::getSize()
{
    return size;
}

std::shared_ptr<StreamBuffer> StreamBufferSetImpl::getStreamBuffer(unsigned int index)
{
    return index < size ? streamBuffers[index] : nullptr;
}

std::vector<std::shared_ptr<StreamBuffer>> StreamBufferSetImpl::getStreamBuffers()
{
    return streamBuffers;
}

void StreamBufferSetImpl::dump()
{
    TAMO_LOGI_IF_ENABLED("contain %u of stream buffer", size);
}

bool StreamBufferSetImpl::releaseBufferSet()
{
    if (released)
        return false;
    auto receiver = collector.lock();
    if (receiver == nullptr)
        return false;
    // Before the collector runs, so a member it returns on its own is not
    // handed back a second time.
    for (const auto& buffer : streamBuffers)
        if (auto member = asImpl(buffer))
            member->released = true;
    receiver->collectBufferSet(streamBuffers);
    released = true;
    return true;
}

bool StreamBufferUtils::returnStreamBuffer(std::shared_ptr<StreamBuffer> buffer)
{
    auto member = asImpl(buffer);
    if (member == nullptr)
        return false;
    if (!member->bufferSet.expired()) {
        // A set that dies right here takes its buffer with it: not returned alone.
        auto set = member->bufferSet.lock();
        return set != nullptr && set->releaseBufferSet();
    }
    return member->releaseBuffer();
}

std::shared_ptr<platform::AppStreamBuffer> StreamBufferUtils::getHidlStreamInfo(std::shared_ptr<StreamBuffer> buffer)
{
    auto member = asImpl(buffer);
    return member != nullptr ? member->streamBufferInfo : nullptr;
}

std::shared_ptr<StreamInfo> StreamBufferUtils::cloneStreamInfo(std::shared_ptr<StreamInfo> info)
{
    if (info == nullptr) {
        TAMO_LOGE("no stream info");
        return nullptr;
    }
    return std::make_shared<StreamInfo>(*info);
}

std::vector<std::shared_ptr<StreamInfo>> StreamBufferUtils::fetchStreamInfo(std::vector<std::shared_ptr<StreamBuffer>> buffers)
{
    std::vector<std::shared_ptr<StreamInfo>> infos;
    infos.reserve(buffers.size());
    for (const auto& buffer : buffers) {
        // Still one entry per buffer, so positions keep matching.
        if (buffer == nullptr)
            TAMO_LOGE("empty stream buffer");
        infos.push_back(buffer != nullptr ? buffer->getStreamInfo() : nullptr);
    }
    return infos;
}

} // namespace tamo

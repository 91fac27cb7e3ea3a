/*
 * The one StreamBuffer and StreamBufferSet implementations, and the state
 * behind their builders. A buffer refers to its set and its collector
 * weakly: the set owns its buffers, never the reverse.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tamo/StreamBuffer.h>

namespace tamo {

class StreamBufferSetImpl;

class StreamBufferImpl : public StreamBuffer, public std::enable_shared_from_this<StreamBufferImpl> {
public:
    std::shared_ptr<ImageBuffer> getImageBuffer() override;
    std::shared_ptr<StreamInfo> getStreamInfo() override;
    uint32_t getRequestNumber() override;
    void setBufferStatus(platform::AppBufferStatus status) override;
    platform::AppBufferStatus getBufferStatus() override;
    std::string getInfo() override;
    std::string getStatus() override;
    void dump() override;

    // Hands this buffer alone to its collector; false when already handed
    // back or when the collector is gone.
    bool releaseBuffer();

private:
    friend class StreamBufferBuilder;
    friend class StreamBufferSetBuilder;
    friend class StreamBufferSetImpl;
    friend class StreamBufferUtils;

    bool released = false;
    uint32_t requestNumber = 0;
    platform::AppBufferStatus bufferStatus = platform::AppBufferStatus::ERROR;
    std::weak_ptr<IBufferCollector> collector;
    std::shared_ptr<platform::AppStreamBuffer> streamBufferInfo;
    std::shared_ptr<ImageBuffer> imageBuffer;
    std::shared_ptr<StreamInfo> streamInfo;
    std::shared_ptr<IBufferRequestor> requestor;
    std::weak_ptr<StreamBufferSetImpl> bufferSet;
};

class StreamBufferSetImpl : public StreamBufferSet {
public:
    StreamBufferSetImpl(std::vector<std::shared_ptr<StreamBuffer>> buffers,
                        std::weak_ptr<IBufferCollector> collector);

    uint32_t getSize() override;
    std::shared_ptr<StreamBuffer> getStreamBuffer(unsigned int index) override;
    std::vector<std::shared_ptr<StreamBuffer>> getStreamBuffers() override;
    void dump() override;

    // Marks every member handed back, then gives them all to the collector
    // in one call; false when already done or when the collector is gone.
    bool releaseBufferSet();

private:
    bool released = false;
    uint32_t size;
    std::vector<std::shared_ptr<StreamBuffer>> streamBuffers;
    std::weak_ptr<IBufferCollector> collector;
};

struct StreamBufferBuilder::StreamBufferBuilderImpl {
    int32_t streamId = -1;
    uint32_t requestNumber = 0;
    std::weak_ptr<IBufferCollector> collector;
    std::shared_ptr<platform::AppStreamBuffer> streamBufferInfo;
    std::shared_ptr<ImageBuffer> imageBuffer;
    std::shared_ptr<StreamInfo> streamInfo;
    std::shared_ptr<IBufferRequestor> requestor;
};

struct StreamBufferSetBuilder::StreamBufferSetBuilderImpl {
    int32_t streamIdFilter = -1;
    std::vector<std::shared_ptr<StreamBuffer>> streamBuffers;
    std::weak_ptr<IBufferCollector> collector;
};

} // namespace tamo

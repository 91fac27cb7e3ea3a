/*
 * Stream buffers: an image buffer bound to a stream and a request, handed
 * back to its collector once, alone or together with the set it belongs to.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tamo/ImageBuffer.h>
#include <tamo_platform/AppStreamBuffer.h>

namespace tamo {

/*
 * One stream as the camera framework asked for it and as the HAL answered.
 * Shared by stream buffers, builders and configurations; every field starts
 * at 0 (physicalCameraId included: -1, "no particular camera", is set by
 * whoever fills the record).
 */
struct StreamInfo {
    int32_t streamId = 0;
    uint32_t streamType = 0;  // 0 output, 1 input
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t format = 0;
    uint64_t usage = 0;
    int32_t dataSpace = 0;
    uint32_t rotation = 0;
    int32_t physicalCameraId = 0;
    uint32_t bufferSize = 0;
    uint64_t producerUsage = 0;
    uint64_t consumerUsage = 0;
    uint32_t overrideFormat = 0;
    uint32_t maxBuffers = 0;
    uint32_t overrideDataSpace = 0;
};

class StreamBuffer;

// Supplies a stream buffer's image buffer when it is first needed.
class IBufferRequestor {
public:
    virtual ~IBufferRequestor() = default;
    // An image buffer for the stream, or an empty pointer (asked again later).
    virtual std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> streamInfo) = 0;
};

// Takes stream buffers back. Called on the releasing thread, no lock held.
class IBufferCollector {
public:
    virtual ~IBufferCollector() = default;
    virtual void collectBuffer(std::shared_ptr<StreamBuffer> buffer) = 0;
    // Every member of one set, in one call.
    virtual void collectBufferSet(std::vector<std::shared_ptr<StreamBuffer>> buffers) = 0;
};

class StreamBuffer {
public:
    virtual ~StreamBuffer() = default;

    // The image buffer; asks the requestor while there is none.
    virtual std::shared_ptr<ImageBuffer> getImageBuffer() = 0;
    virtual std::shared_ptr<StreamInfo> getStreamInfo() = 0;
    virtual uint32_t getRequestNumber() = 0;
    virtual void setBufferStatus(platform::AppBufferStatus status) = 0;
    // ERROR until the framework says otherwise.
    virtual platform::AppBufferStatus getBufferStatus() = 0;
    // "[streamId]format", e.g. "[3]nv21".
    virtual std::string getInfo() = 0;
    // getInfo() then "(err) " or "(ok) ".
    virtual std::string getStatus() = 0;
    virtual void dump() = 0;
};

/*
 * Makes stream buffers. Exactly one source: an image buffer, or a requestor
 * together with a live collector to give the buffer back to. Copies share
 * settings. A stream id of 1 or more is written into the shared StreamInfo,
 * for every holder of that record.
 */
class StreamBufferBuilder {
public:
    StreamBufferBuilder();

    StreamBufferBuilder& setImageBuffer(std::shared_ptr<ImageBuffer> buffer);
    // Builds one image buffer now; a failed build leaves no image buffer.
    StreamBufferBuilder& setImageBufferBuilder(ImageBufferBuilder& builder);
    StreamBufferBuilder& setImageBufferRequestor(std::shared_ptr<IBufferRequestor> requestor);
    StreamBufferBuilder& setStreamBufferInfo(const platform::AppStreamBuffer& info);
    // Keeps a copy; with useOverrideFormat the copy's format is overrideFormat.
    StreamBufferBuilder& setStreamInfo(const StreamInfo& info, bool useOverrideFormat);
    // Keeps the record itself, shared.
    StreamBufferBuilder& setStreamInfo(std::shared_ptr<StreamInfo> info);
    StreamBufferBuilder& setStreamId(int streamId);
    StreamBufferBuilder& setRequestNumber(unsigned int requestNumber);
    StreamBufferBuilder& setCollector(std::weak_ptr<IBufferCollector> collector);

    std::shared_ptr<StreamBuffer> build();

private:
    struct StreamBufferBuilderImpl;

    std::shared_ptr<StreamBufferBuilderImpl> impl;
};

// Stream buffers handed back together, in one collectBufferSet() call.
class StreamBufferSet {
public:
    virtual ~StreamBufferSet() = default;

    virtual uint32_t getSize() = 0;
    // Empty past the end.
    virtual std::shared_ptr<StreamBuffer> getStreamBuffer(unsigned int index) = 0;
    virtual std::vector<std::shared_ptr<StreamBuffer>> getStreamBuffers() = 0;
    virtual void dump() = 0;
};

/*
 * Makes a set over the buffers offered to it (of one stream only, when
 * made with a stream id; empty pointers never) and ties each member to the
 * new set, taking it from any earlier one. A set needs a live collector.
 */
class StreamBufferSetBuilder {
public:
    StreamBufferSetBuilder();
    explicit StreamBufferSetBuilder(int streamId);

    StreamBufferSetBuilder& setStreamBuffers(const std::vector<std::shared_ptr<StreamBuffer>>& buffers);
    StreamBufferSetBuilder& setStreamBuffer(std::shared_ptr<StreamBuffer> buffer);
    StreamBufferSetBuilder& setCollector(std::weak_ptr<IBufferCollector> collector);

    std::shared_ptr<StreamBufferSet> build();

private:
    struct StreamBufferSetBuilderImpl;

    std::shared_ptr<StreamBufferSetBuilderImpl> impl;
};

class StreamBufferUtils {
public:
    /*
     * Hands a buffer back to its collector, once: with its whole set when it
     * belongs to a live one, else alone. True when this call handed it back.
     */
    static bool returnStreamBuffer(std::shared_ptr<StreamBuffer> buffer);
    // The record given to the builder's setStreamBufferInfo(), shared.
    static std::shared_ptr<platform::AppStreamBuffer> getHidlStreamInfo(std::shared_ptr<StreamBuffer> buffer);
    // Empty, with a log line, for an empty info.
    static std::shared_ptr<StreamInfo> cloneStreamInfo(std::shared_ptr<StreamInfo> info);
    // One entry per buffer, shared records repeated; an empty one for an
    // empty buffer pointer.
    static std::vector<std::shared_ptr<StreamInfo>> fetchStreamInfo(std::vector<std::shared_ptr<StreamBuffer>> buffers);
};

} // namespace tamo

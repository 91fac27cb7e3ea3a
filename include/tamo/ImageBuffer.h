/*
 * Image buffers: pixel-format arithmetic, the buffer interface, the builder
 * that makes gralloc buffers, and bounded, blocking pools of buffers.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cutils/native_handle.h>

namespace tamo {

struct StreamInfo;
class Gralloc1Wrapper;

/*
 * What the graphics allocator is asked for a stream format, and how formats
 * are named in logs. Codes are HAL pixel formats. A format outside the
 * known set logs one line and yields 0 (or "", or the fallback 0x4001 for
 * getAllocationFormat). BLOB (0x21) is allocated as one row of
 * width * height * 3 bytes.
 */
class ImageBufferUtils {
public:
    static unsigned int getNumberOfPlanes(unsigned int format);
    static unsigned int getAllocationWidth(unsigned int format, unsigned int width,
                                           unsigned int height);
    static unsigned int getAllocationHeight(unsigned int format, unsigned int width,
                                            unsigned int height);
    static unsigned int getAllocationFormat(unsigned int format);
    static std::string getFormatString(unsigned int format);
};

// The description shared by a buffer and the allocator that made it.
struct ImageInfo {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t reserved = 0;
    uint32_t format = 0;
    uint64_t consumerUsage = 0;
    uint64_t producerUsage = 0;
    uint32_t rotation = 0;
    int32_t dataspace = 0;
};

class ImageBuffer {
public:
    virtual ~ImageBuffer() = default;

    virtual uint32_t getHeight() const = 0;
    virtual uint32_t getWidth() const = 0;
    virtual uint32_t getImageFormat() const = 0;
    virtual uint32_t getRotation() const = 0;
    virtual int32_t getDataSpace() const = 0;
    virtual uint64_t getProducerUsage() const = 0;
    virtual uint64_t getConsumerUsage() const = 0;

    // The slot holding the buffer's handle; for an imported buffer, the
    // caller's own slot.
    virtual native_handle const** getBufferHandle() = 0;
    virtual native_handle const* getAcquireFence() = 0;
    virtual native_handle const* getReleaseFence() = 0;

    // Raw dump: every plane, stride * scanlines bytes each, back to back.
    virtual bool saveToFile(std::string const& path) = 0;
    virtual bool loadFromFile(std::string const& path) = 0;

    virtual void dump() = 0;

    // Maps the buffer for the CPU; name labels the holder of the lock.
    virtual bool lock(std::string name) = 0;
    virtual int32_t unlock(std::string name) = 0;

    // Plane geometry while locked: address, bytes per row, rows.
    virtual void* getVa(unsigned int plane) = 0;
    virtual uint32_t getStride(unsigned int plane) const = 0;
    virtual uint32_t getScanlines(unsigned int plane) const = 0;
};

// The descriptive half of ImageBuffer, read from the shared ImageInfo.
class ImageBufferImpl : public ImageBuffer {
public:
    explicit ImageBufferImpl(std::shared_ptr<ImageInfo> info);
    ~ImageBufferImpl() override;

    uint32_t getHeight() const override;
    uint32_t getWidth() const override;
    uint32_t getImageFormat() const override;
    uint32_t getRotation() const override;
    int32_t getDataSpace() const override;
    uint64_t getProducerUsage() const override;
    uint64_t getConsumerUsage() const override;

protected:
    std::shared_ptr<ImageInfo> info;
};

/*
 * A gralloc buffer, either allocated for it through the platform's
 * allocator (and freed with it) or wrapping a handle its user owns and has
 * imported into the process.
 *
 * Locks nest: the first locks the handle through the platform's mapper for
 * CPU reading and writing and fills the plane table with what the mapper
 * reports (address, bytes per row, rows of every plane the format has; the
 * layout is the allocator's), the last unlocks it and empties the table.
 * A buffer is used by one thread at a time; different buffers may be used
 * on different threads at once.
 */
class GrallocBuffer : public ImageBufferImpl {
public:
    struct Plane {
        void* va = nullptr;
        uint32_t stride = 0;
        uint32_t scanlines = 0;
    };

    explicit GrallocBuffer(std::shared_ptr<ImageInfo> info);
    ~GrallocBuffer() override;
    GrallocBuffer(const GrallocBuffer&) = delete;
    GrallocBuffer& operator=(const GrallocBuffer&) = delete;

    native_handle const** getBufferHandle() override;
    native_handle const* getAcquireFence() override;
    native_handle const* getReleaseFence() override;
    bool saveToFile(std::string const& path) override;
    bool loadFromFile(std::string const& path) override;
    void dump() override;
    bool lock(std::string name) override;
    // The mapper's status for the last unlock of a nesting, 0 for an inner
    // one, -1 when nothing is locked.
    int32_t unlock(std::string name) override;
    void* getVa(unsigned int plane) override;
    uint32_t getStride(unsigned int plane) const override;
    uint32_t getScanlines(unsigned int plane) const override;

    bool allocateGrallocBuffer();
    // What the first of nested lock(name) calls runs: lock the handle
    // through the mapper and fill the plane table, lock() for single-plane
    // formats, lockYCbCr() for the others. They do not count nesting.
    bool lock();
    bool lockYCbCr();

private:
    friend class PlatformBufferAllocator;

    enum class Transfer { DONE, OPEN_FAILED, LOCK_FAILED, NOT_MAPPED, WRITE_FAILED };

    // Moves every plane into or out of the file at path; the caller logs
    // the outcome, so that the line names it. error receives errno of a
    // failed open or write.
    Transfer transferPlanes(std::string const& path, bool save, int& error);

    std::vector<Plane> planes;
    std::string lockLabel;
    std::shared_ptr<Gralloc1Wrapper> context;
    uint32_t allocWidth = 0;
    uint32_t allocHeight = 0;
    uint32_t allocFormat = 0;
    // Pixels per row as the allocator gave them; 0 for an imported buffer.
    uint32_t allocStride = 0;
    native_handle const* handle = nullptr;
    native_handle const** importedHandle = nullptr;
    native_handle const* acquireFence = nullptr;

    uint32_t lockCount = 0;
    native_handle const* lockedHandle = nullptr; // what the mapper has locked
    const char* lockRefusal = nullptr;           // why the last lock() failed, if it knows
};

/*
 * Made once per ImageBufferBuilder: each run() makes a new GrallocBuffer,
 * allocated, or wrapping the caller's handle (that one only once).
 */
class PlatformBufferAllocator {
public:
    static constexpr unsigned int MODE_IMPORT = 0;
    static constexpr unsigned int MODE_ALLOCATE = 1;

    PlatformBufferAllocator(std::shared_ptr<ImageInfo> info, unsigned int mode);

    std::shared_ptr<ImageBuffer> run(native_handle const** handle,
                                     native_handle const* acquireFence);

private:
    uint32_t mode;
    std::shared_ptr<ImageInfo> info;
    std::shared_ptr<Gralloc1Wrapper> context;
    std::once_flag importOnce;
};

/*
 * Describes buffers and builds them. Copies share one state, and the first
 * successful build() fixes the description for every later buffer: setters
 * called after it do not change what is built. An importing builder (given
 * a handle slot or an acquire fence) yields one buffer only.
 */
class ImageBufferBuilder {
public:
    ImageBufferBuilder();

    ImageBufferBuilder& setImageFormat(unsigned int format);
    ImageBufferBuilder& setSize(unsigned int width, unsigned int height);
    ImageBufferBuilder& setConsumerUsage(uint64_t usage);
    ImageBufferBuilder& setProducerUsage(uint64_t usage);
    ImageBufferBuilder& setDataspace(int dataspace);
    ImageBufferBuilder& setRotation(unsigned int rotation);
    ImageBufferBuilder& setStreamId(int id);
    ImageBufferBuilder& setBufferHandle(native_handle const** handle);
    ImageBufferBuilder& setAcquireFence(native_handle const* fence);

    std::shared_ptr<StreamInfo> getStreamInfo() const;
    std::shared_ptr<ImageBuffer> build();
    void dump() const;

private:
    friend class ImageBufferManagerBuilder;
    struct ImageBufferBuilderImpl;

    std::shared_ptr<ImageBufferBuilderImpl> impl;
};

/*
 * A named pool of buffers of one description. acquireImageBuffer() hands out
 * the oldest free buffer, builds a new one while fewer than the maximum are
 * busy, and otherwise blocks until a buffer comes back. After flush() it
 * returns nothing, ever; flush() and every release wake one waiter.
 */
class ImageBufferManager {
public:
    virtual ~ImageBufferManager() = default;

    virtual std::shared_ptr<ImageBuffer> acquireImageBuffer() = 0;
    virtual void releaseImageBuffer(std::shared_ptr<ImageBuffer> buffer) = 0;
    // Drops the free buffers; busy ones stay out.
    virtual void releaseResource() = 0;
    virtual void flush() = 0;
    // Lock-free reads, possibly a moment stale.
    virtual uint32_t getMaxBufferCount() const = 0;
    virtual uint32_t getMinBufferCount() const = 0;
    virtual uint32_t getFreeBufferCount() const = 0;
    virtual uint32_t getBusyBufferCount() const = 0;
    virtual void dump() = 0;
};

class ImageBufferManagerBuilder {
public:
    ImageBufferManagerBuilder();

    ImageBufferManagerBuilder& setMaxCount(unsigned int count);
    ImageBufferManagerBuilder& setMinCount(unsigned int count);
    ImageBufferManagerBuilder& setName(std::string name);
    ImageBufferManagerBuilder& setImageBufferBuilder(ImageBufferBuilder builder);

    // Preallocates the minimum; a pool short of it is still returned. The
    // name moves into the pool.
    std::shared_ptr<ImageBufferManager> build();

private:
    struct ImageBufferManagerBuilderImpl;

    std::shared_ptr<ImageBufferManagerBuilderImpl> impl;
};

} // namespace tamo

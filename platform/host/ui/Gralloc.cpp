/*
 * Host libui: GraphicBufferAllocator and GraphicBufferMapper over one
 * process-wide table of mapped handles (see <ui/HostGralloc.h>).
 */
#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/HostGralloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <unordered_map>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

ANDROID_SINGLETON_STATIC_INSTANCE(android::GraphicBufferAllocator)
ANDROID_SINGLETON_STATIC_INSTANCE(android::GraphicBufferMapper)

namespace android {

using host::HostGralloc;

namespace {

// Handle ints: magic, width, height, format, usage low and high words.
constexpr int kMagic = 0x676d656d;
constexpr int kNumInts = 6;
constexpr uint64_t kRowAlign = 64;
constexpr uint64_t kMaxSize = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kCpuRead = 0x0F;
constexpr uint64_t kCpuWrite = 0xF0;

struct Layout {
    uint64_t size = 0;
    uint32_t stride = 0;      // bytes per row of the first plane
    uint32_t pixelStride = 0; // what allocate() reports
    int32_t bytesPerPixel = 1;
    bool ycbcr = false;
    uint64_t cb = 0; // chroma offsets, YCbCr formats only
    uint64_t cr = 0;
    uint32_t chromaStride = 0;
    uint32_t chromaStep = 0;
};

uint64_t align(uint64_t bytes)
{
    return (bytes + kRowAlign - 1) / kRowAlign * kRowAlign;
}

std::optional<Layout> layoutOf(uint64_t w, uint64_t h, int32_t format)
{
    constexpr uint64_t kMaxSide = std::numeric_limits<int32_t>::max();
    if (w == 0 || h == 0 || w > kMaxSide || h > kMaxSide)
        return std::nullopt;
    Layout l;
    auto chroma = [&l](uint64_t cb, uint64_t cr, uint32_t step) {
        l.ycbcr = true;
        l.cb = cb;
        l.cr = cr;
        l.chromaStep = step;
    };
    uint64_t stride = align(w);
    uint64_t chromaStride = stride;
    uint64_t chromaSize = 0;
    const uint64_t luma = stride * h;
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
        chromaSize = luma;
        chroma(luma, luma + 1, 2);
        break;
    case HAL_PIXEL_FORMAT_YCRCB_420_SP: // and the flexible format alike: Cr first
    case HAL_PIXEL_FORMAT_YCBCR_420_888:
        chromaSize = stride * ((h + 1) / 2);
        chroma(luma + 1, luma, 2);
        break;
    case HAL_PIXEL_FORMAT_YV12: // a Cr plane, then a Cb plane
        chromaStride = align(stride / 2);
        chromaSize = 2 * chromaStride * ((h + 1) / 2);
        chroma(luma + chromaSize / 2, luma, 1);
        break;
    case HAL_PIXEL_FORMAT_YCBCR_422_I: // Y0 Cb Y1 Cr
        stride = chromaStride = align(2 * w);
        l.bytesPerPixel = 2;
        chroma(1, 3, 4);
        break;
    case HAL_PIXEL_FORMAT_RAW16:
    case HAL_PIXEL_FORMAT_Y16:
        stride = align(2 * w);
        l.bytesPerPixel = 2;
        break;
    case HAL_PIXEL_FORMAT_RAW10:
        stride = align((w + 3) / 4 * 5);
        l.bytesPerPixel = -1;
        break;
    case HAL_PIXEL_FORMAT_RAW12:
        stride = align((w + 1) / 2 * 3);
        l.bytesPerPixel = -1;
        break;
    case HAL_PIXEL_FORMAT_Y8:
        break;
    case HAL_PIXEL_FORMAT_BLOB:
        stride = w;
        break;
    default:
        return std::nullopt;
    }
    l.size = stride * h + chromaSize;
    if (l.size > kMaxSize)
        return std::nullopt;
    l.stride = static_cast<uint32_t>(stride);
    l.chromaStride = l.ycbcr ? static_cast<uint32_t>(chromaStride) : 0;
    // Pixels per row: whole bytes per pixel, or 10 and 12 bits for RAW10 and RAW12.
    if (format == HAL_PIXEL_FORMAT_RAW10)
        l.pixelStride = static_cast<uint32_t>(stride * 4 / 5);
    else if (format == HAL_PIXEL_FORMAT_RAW12)
        l.pixelStride = static_cast<uint32_t>(stride * 2 / 3);
    else
        l.pixelStride = static_cast<uint32_t>(stride / static_cast<uint32_t>(l.bytesPerPixel));
    return l;
}

// The geometry a handle of ours carries.
struct Geometry {
    uint32_t width = 0;
    uint32_t height = 0;
    int32_t format = 0;
    uint64_t usage = 0;
};

struct Buffer {
    uint8_t* base = nullptr;
    size_t size = 0;
    Geometry geometry;
    Layout layout;
    uint32_t locks = 0;
    bool allocated = false;
};

std::optional<Geometry> geometryOf(buffer_handle_t handle)
{
    if (handle == nullptr || handle->version != static_cast<int>(sizeof(native_handle_t)) ||
        handle->numFds != 1 || handle->numInts != kNumInts || handle->data[1] != kMagic)
        return std::nullopt;
    const int* ints = handle->data + 1;
    return Geometry{static_cast<uint32_t>(ints[1]), static_cast<uint32_t>(ints[2]), ints[3],
                    static_cast<uint32_t>(ints[4]) | uint64_t{static_cast<uint32_t>(ints[5])} << 32};
}

void closeHandle(buffer_handle_t handle)
{
    native_handle_close(handle);
    native_handle_delete(const_cast<native_handle_t*>(handle));
}

class Gralloc {
public:
    static Gralloc& instance()
    {
        // Never destroyed: buffers may be freed by other libraries' static
        // destructors at exit.
        static Gralloc* gralloc = new Gralloc;
        return *gralloc;
    }

    status_t allocate(uint32_t w, uint32_t h, PixelFormat format, uint32_t layers, uint64_t usage,
                      buffer_handle_t* out, uint32_t* stride)
    {
        std::optional<Layout> layout = layoutOf(w, h, format);
        if (!layout || layers != 1 || out == nullptr)
            return BAD_VALUE;
        {
            std::lock_guard<std::mutex> guard(mutex);
            if (failures > 0) {
                failures--;
                return NO_MEMORY;
            }
        }
        const int fd = memfd_create("gralloc", MFD_CLOEXEC);
        if (fd < 0)
            return NO_MEMORY;
        native_handle_t* handle = native_handle_create(1, kNumInts);
        if (handle == nullptr || ftruncate(fd, static_cast<off_t>(layout->size)) != 0) {
            close(fd);
            if (handle != nullptr)
                native_handle_delete(handle);
            return NO_MEMORY;
        }
        const int ints[kNumInts] = {kMagic,
                                    static_cast<int>(w),
                                    static_cast<int>(h),
                                    format,
                                    static_cast<int>(static_cast<uint32_t>(usage)),
                                    static_cast<int>(static_cast<uint32_t>(usage >> 32))};
        handle->data[0] = fd;
        std::memcpy(handle->data + 1, ints, sizeof(ints));
        status_t status = add(handle, *layout, true);
        if (status != NO_ERROR)
            return status;
        *out = handle;
        if (stride != nullptr)
            *stride = layout->pixelStride;
        return NO_ERROR;
    }

    status_t import(buffer_handle_t raw, buffer_handle_t* out)
    {
        std::optional<Geometry> g = geometryOf(raw);
        std::optional<Layout> layout;
        if (g)
            layout = layoutOf(g->width, g->height, g->format);
        struct stat st {};
        if (!layout || out == nullptr || fstat(raw->data[0], &st) != 0 ||
            static_cast<uint64_t>(st.st_size) < layout->size)
            return BAD_VALUE;
        native_handle_t* clone = native_handle_clone(raw);
        if (clone == nullptr)
            return NO_MEMORY;
        status_t status = add(clone, *layout, false);
        if (status == NO_ERROR)
            *out = clone;
        return status;
    }

    // Whether a handle matches the description it was imported with.
    bool matches(buffer_handle_t handle, uint32_t w, uint32_t h, uint32_t layers, PixelFormat format,
                 uint64_t usage, uint32_t stride)
    {
        std::lock_guard<std::mutex> guard(mutex);
        auto it = buffers.find(handle);
        if (it == buffers.end())
            return false;
        const Buffer& b = it->second;
        return b.geometry.width == w && b.geometry.height == h && layers == 1 &&
               b.geometry.format == format && (usage & ~b.geometry.usage) == 0 &&
               b.layout.pixelStride == stride;
    }

    status_t free(buffer_handle_t handle)
    {
        Buffer buffer;
        {
            std::lock_guard<std::mutex> guard(mutex);
            auto it = buffers.find(handle);
            if (it == buffers.end())
                return BAD_VALUE;
            buffer = it->second;
            buffers.erase(it);
            if (buffer.allocated)
                allocations--;
        }
        munmap(buffer.base, buffer.size);
        closeHandle(handle);
        return NO_ERROR;
    }

    // Counts a lock of a handle; the buffer as it was when locked.
    status_t lock(buffer_handle_t handle, uint64_t usage, const Rect& bounds, bool chroma,
                  Buffer* locked)
    {
        std::lock_guard<std::mutex> guard(mutex);
        auto it = buffers.find(handle);
        if (it == buffers.end())
            return BAD_VALUE;
        Buffer& b = it->second;
        const bool cpu = (usage & (kCpuRead | kCpuWrite)) != 0;
        const bool allowed = ((usage & kCpuRead) == 0 || (b.geometry.usage & kCpuRead) != 0) &&
                             ((usage & kCpuWrite) == 0 || (b.geometry.usage & kCpuWrite) != 0);
        const bool inside = bounds.left >= 0 && bounds.top >= 0 && bounds.isValid() &&
                            static_cast<uint32_t>(bounds.right) <= b.geometry.width &&
                            static_cast<uint32_t>(bounds.bottom) <= b.geometry.height;
        if (!cpu || !allowed || !inside || (chroma && !b.layout.ycbcr))
            return BAD_VALUE;
        b.locks++;
        *locked = b;
        return NO_ERROR;
    }

    status_t find(buffer_handle_t handle, Buffer* found)
    {
        std::lock_guard<std::mutex> guard(mutex);
        auto it = buffers.find(handle);
        if (it == buffers.end())
            return BAD_VALUE;
        *found = it->second;
        return NO_ERROR;
    }

    status_t unlock(buffer_handle_t handle)
    {
        std::lock_guard<std::mutex> guard(mutex);
        auto it = buffers.find(handle);
        if (it == buffers.end() || it->second.locks == 0)
            return BAD_VALUE;
        it->second.locks--;
        return NO_ERROR;
    }

    void failNext(uint32_t count)
    {
        std::lock_guard<std::mutex> guard(mutex);
        failures = count;
    }

    size_t liveAllocations()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return allocations;
    }

    size_t liveMappings()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return buffers.size();
    }

private:
    Gralloc() = default;

    // Maps a handle of ours and enters it; the handle is closed on failure.
    status_t add(native_handle_t* handle, const Layout& layout, bool allocated)
    {
        const auto size = static_cast<size_t>(layout.size);
        void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, handle->data[0], 0);
        if (base == MAP_FAILED) {
            closeHandle(handle);
            return NO_MEMORY;
        }
        const Buffer buffer{static_cast<uint8_t*>(base), size, *geometryOf(handle), layout, 0,
                            allocated};
        std::lock_guard<std::mutex> guard(mutex);
        buffers[handle] = buffer;
        if (allocated)
            allocations++;
        return NO_ERROR;
    }

    std::mutex mutex;
    std::unordered_map<buffer_handle_t, Buffer> buffers;
    uint32_t failures = 0;
    size_t allocations = 0;
};

} // namespace

status_t GraphicBufferAllocator::allocate(uint32_t w, uint32_t h, PixelFormat format,
                                          uint32_t layerCount, uint64_t usage,
                                          buffer_handle_t* handle, uint32_t* stride,
                                          std::string /*requestorName*/)
{
    return Gralloc::instance().allocate(w, h, format, layerCount, usage, handle, stride);
}

status_t GraphicBufferAllocator::free(buffer_handle_t handle)
{
    return Gralloc::instance().free(handle);
}

status_t GraphicBufferMapper::importBuffer(buffer_handle_t rawHandle, uint32_t width,
                                           uint32_t height, uint32_t layerCount,
                                           PixelFormat format, uint64_t usage, uint32_t stride,
                                           buffer_handle_t* outHandle)
{
    Gralloc& gralloc = Gralloc::instance();
    buffer_handle_t imported = nullptr;
    status_t status = gralloc.import(rawHandle, &imported);
    if (status != NO_ERROR)
        return status;
    if (!gralloc.matches(imported, width, height, layerCount, format, usage, stride)) {
        gralloc.free(imported);
        return BAD_VALUE;
    }
    *outHandle = imported;
    return NO_ERROR;
}

status_t GraphicBufferMapper::freeBuffer(buffer_handle_t handle)
{
    return Gralloc::instance().free(handle);
}

namespace {

HostGralloc::CpuAccess cpuAccessOf(const Buffer& b)
{
    HostGralloc::CpuAccess access;
    access.format = b.geometry.format;
    access.width = b.geometry.width;
    access.height = b.geometry.height;
    access.size = b.size;
    access.base = b.base;
    access.stride = b.layout.stride;
    switch (b.geometry.format) {
    case HAL_PIXEL_FORMAT_RAW10:
        access.bitsPerSample = 10;
        break;
    case HAL_PIXEL_FORMAT_RAW12:
        access.bitsPerSample = 12;
        break;
    default:
        access.bitsPerSample = 8 * b.layout.bytesPerPixel;
    }
    access.ycbcr = b.layout.ycbcr;
    if (access.ycbcr) {
        access.cb = b.base + b.layout.cb;
        access.cr = b.base + b.layout.cr;
        access.chromaStride = b.layout.chromaStride;
        access.chromaStep = b.layout.chromaStep;
    }
    return access;
}

// Bytes per pixel and per row as libui's lock() reports them over each
// mapper version: 2.x gives none; 3.0 those of the first plane, -1 per
// pixel for packed samples; 4.0 those the plane layouts share, -1 for both
// when the planes differ (as NV21's luma and chroma do).
void lockAnswers(const HostGralloc::CpuAccess& a, int32_t* bytesPerPixel, int32_t* bytesPerStride)
{
    *bytesPerPixel = -1;
    *bytesPerStride = -1;
    const int version = HostGralloc::mapperVersion();
    if (version < 3)
        return;
    const int32_t firstPixel = a.bytesPerPixel();
    // Separate chroma planes, unless the chroma lies in the luma's plane (YUY2).
    const bool chromaPlanes = a.ycbcr && a.chromaStep != 4;
    if (version == 3 || !chromaPlanes) {
        *bytesPerPixel = firstPixel;
        *bytesPerStride = static_cast<int32_t>(a.stride);
        return;
    }
    const int32_t chromaPixel = static_cast<int32_t>(a.chromaStep);
    if (chromaPixel == firstPixel && a.chromaStride == a.stride) {
        *bytesPerPixel = firstPixel;
        *bytesPerStride = static_cast<int32_t>(a.stride);
    }
}

} // namespace

status_t GraphicBufferMapper::lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                                   void** vaddr, int32_t* outBytesPerPixel,
                                   int32_t* outBytesPerStride)
{
    HostGralloc::CpuAccess access;
    status_t status = HostGralloc::lock(handle, usage, bounds, false, &access);
    if (status != NO_ERROR)
        return status;
    *vaddr = access.base;
    int32_t bytesPerPixel = -1;
    int32_t bytesPerStride = -1;
    lockAnswers(access, &bytesPerPixel, &bytesPerStride);
    if (outBytesPerPixel != nullptr)
        *outBytesPerPixel = bytesPerPixel;
    if (outBytesPerStride != nullptr)
        *outBytesPerStride = bytesPerStride;
    return NO_ERROR;
}

status_t GraphicBufferMapper::lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                                        android_ycbcr* ycbcr)
{
    HostGralloc::CpuAccess access;
    status_t status = HostGralloc::lock(handle, usage, bounds, true, &access);
    if (status != NO_ERROR)
        return status;
    *ycbcr = {};
    ycbcr->y = access.base;
    ycbcr->cb = access.cb;
    ycbcr->cr = access.cr;
    ycbcr->ystride = access.stride;
    ycbcr->cstride = access.chromaStride;
    ycbcr->chroma_step = access.chromaStep;
    return NO_ERROR;
}

GraphicBufferMapper::Version GraphicBufferMapper::getMapperVersion() const
{
    switch (HostGralloc::mapperVersion()) {
    case 2:
        return GRALLOC_2;
    case 3:
        return GRALLOC_3;
    default:
        return GRALLOC_4;
    }
}

status_t GraphicBufferMapper::unlock(buffer_handle_t handle)
{
    return Gralloc::instance().unlock(handle);
}

namespace host {

status_t HostGralloc::importBuffer(buffer_handle_t rawHandle, buffer_handle_t* outHandle)
{
    return Gralloc::instance().import(rawHandle, outHandle);
}

status_t HostGralloc::freeBuffer(buffer_handle_t handle)
{
    return Gralloc::instance().free(handle);
}

void HostGralloc::failNextAllocations(uint32_t count)
{
    Gralloc::instance().failNext(count);
}

size_t HostGralloc::liveAllocations()
{
    return Gralloc::instance().liveAllocations();
}

size_t HostGralloc::liveMappings()
{
    return Gralloc::instance().liveMappings();
}

status_t HostGralloc::lock(buffer_handle_t handle, uint64_t usage, const Rect& bounds, bool ycbcr,
                           CpuAccess* out)
{
    Buffer b;
    status_t status = Gralloc::instance().lock(handle, usage, bounds, ycbcr, &b);
    if (status == NO_ERROR)
        *out = cpuAccessOf(b);
    return status;
}

status_t HostGralloc::describe(buffer_handle_t handle, CpuAccess* out)
{
    Buffer b;
    status_t status = Gralloc::instance().find(handle, &b);
    if (status == NO_ERROR)
        *out = cpuAccessOf(b);
    return status;
}

status_t HostGralloc::unlock(buffer_handle_t handle)
{
    return Gralloc::instance().unlock(handle);
}

namespace {

int versionFromEnvironment()
{
    const char* setting = std::getenv("TAMO_HOST_MAPPER");
    if (setting == nullptr || *setting == '\0')
        return 4;
    if ((setting[0] == '2' || setting[0] == '3' || setting[0] == '4') && setting[1] == '\0')
        return setting[0] - '0';
    std::fprintf(stderr, "TAMO_HOST_MAPPER=%s: not 2, 3 or 4; mapper 4.0 offered\n", setting);
    return 4;
}

std::atomic<int>& offeredVersion()
{
    static std::atomic<int> version{versionFromEnvironment()};
    return version;
}

} // namespace

int HostGralloc::mapperVersion()
{
    return offeredVersion().load(std::memory_order_relaxed);
}

void HostGralloc::setMapperVersion(int version)
{
    offeredVersion().store(version >= 2 && version <= 4 ? version : 4, std::memory_order_relaxed);
}

} // namespace host

const Rect Rect::INVALID_RECT{0, 0, -1, -1};
const Rect Rect::EMPTY_RECT{0, 0, 0, 0};

void Rect::makeInvalid()
{
    left = 0;
    top = 0;
    right = -1;
    bottom = -1;
}

} // namespace android

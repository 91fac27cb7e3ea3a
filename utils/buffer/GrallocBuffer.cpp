#include <tamo/ImageBuffer.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include <unistd.h>

#include <system/graphics.h>

#include "Gralloc1Wrapper.h"
#include "ImageBufferPrivate.h"
#include "TamoLog.h"

// TAMO_GRALLOC_PLACEHOLDER: buffers without memory. Allocation succeeds
// without allocating, lock only records its label, unlock answers -1 and
// the plane table stays empty. Otherwise buffers are allocated and locked
// through libui.
#ifndef TAMO_GRALLOC_PLACEHOLDER
#define TAMO_GRALLOC_PLACEHOLDER 0
#endif

#if !TAMO_GRALLOC_PLACEHOLDER
#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/Rect.h>
#endif

namespace tamo {

unsigned int ImageBufferUtils::getNumberOfPlanes(unsigned int format)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
    case HAL_PIXEL_FORMAT_YCRCB_420_SP:
    case HAL_PIXEL_FORMAT_YCBCR_420_888:
    case 0x400B:
    case 0x400C:
    case 0x400D:
    case 0x4010:
    case 0x4011:
        return 2;
    case HAL_PIXEL_FORMAT_YV12:
        return 3;
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
    case HAL_PIXEL_FORMAT_RAW16:
    case HAL_PIXEL_FORMAT_BLOB:
    case HAL_PIXEL_FORMAT_RAW10:
    case HAL_PIXEL_FORMAT_RAW12:
    case HAL_PIXEL_FORMAT_Y8:
    case HAL_PIXEL_FORMAT_Y16:
    case 0x4001:
    case 0x4002:
    case 0x4003:
    case 0x4004:
    case 0x4005:
    case 0x4007:
    case 0x400E:
    case 0x400F:
        return 1;
    default:
        TAMO_LOGE("format not found.");
        return 0;
    }
}

namespace {

// The formats the allocator is asked for as they are.
bool allocatedAsIs(unsigned int format)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
    case HAL_PIXEL_FORMAT_YCRCB_420_SP:
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
    case HAL_PIXEL_FORMAT_RAW16:
    case HAL_PIXEL_FORMAT_YCBCR_420_888:
    case HAL_PIXEL_FORMAT_RAW10:
    case HAL_PIXEL_FORMAT_RAW12:
    case HAL_PIXEL_FORMAT_Y8:
    case HAL_PIXEL_FORMAT_Y16:
    case HAL_PIXEL_FORMAT_YV12:
        return true;
    default:
        return false;
    }
}

} // namespace

unsigned int ImageBufferUtils::getAllocationWidth(unsigned int format, unsigned int width,
                                                  unsigned int height)
{
    if (allocatedAsIs(format))
        return width;
    // A blob is one row of up to three bytes per pixel.
    if (format == HAL_PIXEL_FORMAT_BLOB)
        return width * height * 3;
    TAMO_LOGE("format not found.");
    return 0;
}

unsigned int ImageBufferUtils::getAllocationHeight(unsigned int format, unsigned int,
                                                   unsigned int height)
{
    if (allocatedAsIs(format))
        return height;
    if (format == HAL_PIXEL_FORMAT_BLOB)
        return 1;
    TAMO_LOGE("format not found.");
    return 0;
}

unsigned int ImageBufferUtils::getAllocationFormat(unsigned int format)
{
    if (allocatedAsIs(format) || format == HAL_PIXEL_FORMAT_BLOB)
        return format;
    TAMO_LOGE("Currently not support format 0x%x", format);
    return kUnsupportedAllocationFormat;
}

std::string ImageBufferUtils::getFormatString(unsigned int format)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP: return "nv16";
    case HAL_PIXEL_FORMAT_YCRCB_420_SP: return "nv21";
    case HAL_PIXEL_FORMAT_YCBCR_422_I: return "yuy2";
    case HAL_PIXEL_FORMAT_RAW16: return "raw16";
    case HAL_PIXEL_FORMAT_BLOB: return "Jpeg";
    case HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED: return "ImplementationDefined";
    case HAL_PIXEL_FORMAT_YCBCR_420_888: return "YCBCR_420_888";
    case HAL_PIXEL_FORMAT_RAW10: return "raw10";
    case HAL_PIXEL_FORMAT_RAW12: return "raw12";
    case HAL_PIXEL_FORMAT_Y8: return "Y8";
    case HAL_PIXEL_FORMAT_Y16: return "Y16";
    case HAL_PIXEL_FORMAT_YV12: return "yv12";
    default:
        TAMO_LOGE("format not found. 0x%x", format);
        return "";
    }
}

Gralloc1Wrapper::~Gralloc1Wrapper() = default;

bool Gralloc1Wrapper::setupGralloc1Interface()
{
    return true;
}

GrallocBuffer::GrallocBuffer(std::shared_ptr<ImageInfo> info) : ImageBufferImpl(std::move(info)) {}

GrallocBuffer::~GrallocBuffer()
{
#if !TAMO_GRALLOC_PLACEHOLDER
    if (lockedHandle != nullptr)
        android::GraphicBufferMapper::get().unlock(lockedHandle);
    // An imported handle stays its owner's.
    if (handle != nullptr)
        android::GraphicBufferAllocator::get().free(handle);
#endif
}

native_handle const** GrallocBuffer::getBufferHandle()
{
    return importedHandle != nullptr ? importedHandle : &handle;
}

native_handle const* GrallocBuffer::getAcquireFence()
{
    return nullptr;
}

native_handle const* GrallocBuffer::getReleaseFence()
{
    return nullptr;
}

bool GrallocBuffer::saveToFile(std::string const& path)
{
    TAMO_LOGI_IF_ENABLED(" save as %s", path.c_str());
    int error = 0;
    const Transfer result = transferPlanes(path, true, error);
    if (result == Transfer::OPEN_FAILED)
        TAMO_LOGE("open fail(%d) %s [%s]", error, std::strerror(error), path.c_str());
    else if (result == Transfer::NOT_MAPPED)
        TAMO_LOGE("buffer not mapped [%s]", path.c_str());
    else if (result == Transfer::WRITE_FAILED)
        TAMO_LOGE("write fail(%d) %s [%s]", error, std::strerror(error), path.c_str());
    return result == Transfer::DONE;
}

bool GrallocBuffer::loadFromFile(std::string const& path)
{
    int error = 0;
    const Transfer result = transferPlanes(path, false, error);
    if (result == Transfer::OPEN_FAILED)
        TAMO_LOGE("open fail(%d) %s [%s]", error, std::strerror(error), path.c_str());
    else if (result == Transfer::NOT_MAPPED)
        TAMO_LOGE("buffer not mapped [%s]", path.c_str());
    return result == Transfer::DONE;
}

GrallocBuffer::Transfer GrallocBuffer::transferPlanes(std::string const& path, bool save,
                                                      int& error)
{
    // A refused save takes back a file it created, not one it truncated.
    const bool existed = save && access(path.c_str(), F_OK) == 0;
    errno = 0;
    FILE* file = std::fopen(path.c_str(), save ? "w" : "r");
    if (file == nullptr) {
        error = errno;
        return Transfer::OPEN_FAILED;
    }

    const std::string label = (save ? "saveToFile_" : "loadFromFile_") + path;
    const bool locked = lock(label);
    const unsigned int count = ImageBufferUtils::getNumberOfPlanes(info->format);
    const bool mapped = locked && planes.size() >= count;
    // A short file leaves the rest of the buffer as it was. A full disk
    // shows as a short write here or, for what stdio still buffers, at close.
    bool written = true;
    errno = 0;
    for (unsigned int i = 0; mapped && written && i < count; i++) {
        const size_t bytes = static_cast<size_t>(planes[i].stride) * planes[i].scanlines;
        if (save)
            written = std::fwrite(planes[i].va, 1, bytes, file) == bytes;
        else
            std::fread(planes[i].va, 1, bytes, file);
    }
    if (!written)
        error = errno != 0 ? errno : EIO;
    errno = 0;
    if (std::fclose(file) != 0 && save && written) {
        written = false;
        error = errno != 0 ? errno : EIO;
    }
    if (save && (!mapped || !written) && !existed)
        std::remove(path.c_str());
    if (locked)
        unlock(label);
    if (!written)
        return Transfer::WRITE_FAILED;
    if (mapped)
        return Transfer::DONE;
    return locked ? Transfer::NOT_MAPPED : Transfer::LOCK_FAILED;
}

void GrallocBuffer::dump()
{
    const char* source = importedHandle != nullptr ? "imported buffer" : "allocated buffer";
    const std::string label = std::string("dump ") + source;
    bool locked = lock(label);
    TAMO_LOGI_IF_ENABLED("\t Source : %s", source);
    TAMO_LOGI_IF_ENABLED("\t Size : %ux%u", info->width, info->height);
    TAMO_LOGI_IF_ENABLED("\t Format : %s(%u)",
                         ImageBufferUtils::getFormatString(info->format).c_str(), info->format);
    TAMO_LOGI_IF_ENABLED("\t Usage : (producer/consumer)=(0x%lu/0x%lu)", info->producerUsage,
                         info->consumerUsage);
    if (locked)
        unlock(label);
}

bool GrallocBuffer::lock(std::string name)
{
    lockLabel = std::move(name);
#if TAMO_GRALLOC_PLACEHOLDER
    return true;
#else
    if (lockCount == 0) {
        const bool multiPlane = ImageBufferUtils::getNumberOfPlanes(info->format) > 1;
        lockRefusal = nullptr;
        if (!(multiPlane ? lockYCbCr() : lock())) {
            if (lockRefusal != nullptr)
                TAMO_LOGE("lock fail [%s]: %s", lockLabel.c_str(), lockRefusal);
            else
                TAMO_LOGE("lock fail [%s]", lockLabel.c_str());
            return false;
        }
    }
    lockCount++;
    return true;
#endif
}

int32_t GrallocBuffer::unlock(std::string name)
{
#if TAMO_GRALLOC_PLACEHOLDER
    (void)name;
    return -1;
#else
    if (lockCount == 0) {
        TAMO_LOGE("unlock without lock [%s]", name.c_str());
        return -1;
    }
    if (--lockCount > 0)
        return 0;
    planes.clear();
    native_handle const* locked = std::exchange(lockedHandle, nullptr);
    return android::GraphicBufferMapper::get().unlock(locked);
#endif
}

void* GrallocBuffer::getVa(unsigned int plane)
{
    if (planes.empty()) {
        TAMO_LOGE("lock before get va");
        return nullptr;
    }
    if (plane >= planes.size()) {
        TAMO_LOGE("error plane index");
        return nullptr;
    }
    return planes[plane].va;
}

uint32_t GrallocBuffer::getStride(unsigned int plane) const
{
    if (planes.empty()) {
        TAMO_LOGE("lock before get plane stride");
        return 0;
    }
    if (plane >= planes.size()) {
        TAMO_LOGE("error plane index");
        return 0;
    }
    return planes[plane].stride;
}

uint32_t GrallocBuffer::getScanlines(unsigned int plane) const
{
    if (planes.empty()) {
        TAMO_LOGE("lock before get plane stride");
        return 0;
    }
    if (plane >= planes.size()) {
        TAMO_LOGE("error plane index");
        return 0;
    }
    return planes[plane].scanlines;
}

#if TAMO_GRALLOC_PLACEHOLDER

bool GrallocBuffer::allocateGrallocBuffer()
{
    return true;
}

bool GrallocBuffer::lock()
{
    return true;
}

bool GrallocBuffer::lockYCbCr()
{
    return true;
}

#else

namespace {

// What buffers are allocated for and locked with: CPU reads and writes
// (GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN).
constexpr uint32_t kCpuUsage = 0x3 | 0x30;
constexpr const char* kRequestor = "libtamo_utils";

uint32_t toU32(size_t value)
{
    return value > std::numeric_limits<uint32_t>::max() ? 0 : static_cast<uint32_t>(value);
}

// Bytes per row of a single-plane allocation format with stride pixels per
// row; 0 where pixels are packed across bytes (RAW10, RAW12), which only
// the mapper can say.
uint32_t rowBytes(uint32_t format, uint32_t stride)
{
    switch (format) {
    case HAL_PIXEL_FORMAT_RAW16:
    case HAL_PIXEL_FORMAT_Y16:
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
        return toU32(uint64_t{stride} * 2);
    case HAL_PIXEL_FORMAT_Y8:
    case HAL_PIXEL_FORMAT_BLOB:
        return stride;
    default:
        return 0;
    }
}

} // namespace

bool GrallocBuffer::allocateGrallocBuffer()
{
    buffer_handle_t allocated = nullptr;
    uint32_t stride = 0; // in pixels: the plane table's when the mapper gives no bytes per row
    const android::status_t status = android::GraphicBufferAllocator::get().allocate(
            allocWidth, allocHeight, static_cast<android::PixelFormat>(allocFormat), 1,
            info->producerUsage | info->consumerUsage | kCpuUsage, &allocated, &stride, kRequestor);
    if (status != android::NO_ERROR)
        return false;
    handle = allocated;
    allocStride = stride;
    return true;
}

bool GrallocBuffer::lock()
{
    native_handle const* target = importedHandle != nullptr ? *importedHandle : handle;
    android::GraphicBufferMapper& mapper = android::GraphicBufferMapper::get();
    void* va = nullptr;
    int32_t bytesPerStride = 0;
    if (target == nullptr ||
        mapper.lock(target, kCpuUsage, android::Rect(allocWidth, allocHeight), &va, nullptr,
                    &bytesPerStride) != android::NO_ERROR)
        return false;
    // Mappers before 3.0 give no bytes per row; then only the allocation
    // knows, so an imported buffer cannot be read safely.
    uint32_t stride = bytesPerStride > 0 ? static_cast<uint32_t>(bytesPerStride)
                                         : rowBytes(allocFormat, allocStride);
    if (stride == 0)
        lockRefusal = importedHandle != nullptr ? "the mapper gives no stride for an imported buffer"
                                                : "the mapper gives no stride for this format";
    if (va == nullptr || stride == 0) {
        mapper.unlock(target);
        return false;
    }
    planes.assign(1, Plane{va, stride, allocHeight});
    lockedHandle = target;
    return true;
}

bool GrallocBuffer::lockYCbCr()
{
    native_handle const* target = importedHandle != nullptr ? *importedHandle : handle;
    android::GraphicBufferMapper& mapper = android::GraphicBufferMapper::get();
    android_ycbcr ycbcr{};
    if (target == nullptr ||
        mapper.lockYCbCr(target, kCpuUsage, android::Rect(allocWidth, allocHeight), &ycbcr) !=
                android::NO_ERROR)
        return false;

    // The mapper reports no row counts: the luma rows are what lies before
    // the chroma, and the chroma rows follow from the format.
    auto* y = static_cast<uint8_t*>(ycbcr.y);
    auto* cb = static_cast<uint8_t*>(ycbcr.cb);
    auto* cr = static_cast<uint8_t*>(ycbcr.cr);
    uint8_t* chroma = std::min(cb, cr);
    const uint32_t ystride = toU32(ycbcr.ystride);
    const uint32_t cstride = toU32(ycbcr.cstride);
    bool ok = y != nullptr && cb != nullptr && cr != nullptr && chroma > y && ystride != 0 &&
              cstride != 0;
    const uint32_t lumaRows = ok ? toU32(static_cast<size_t>(chroma - y) / ystride) : 0;
    ok = ok && lumaRows >= allocHeight;
    if (ok && ImageBufferUtils::getNumberOfPlanes(info->format) == 3) {
        // YV12: a Cr plane, then a Cb plane of the same size.
        const uint32_t chromaRows = toU32(static_cast<size_t>(cb - cr) / cstride);
        ok = ycbcr.chroma_step == 1 && cr < cb && chromaRows >= (allocHeight + 1) / 2;
        planes = {{y, ystride, lumaRows}, {cr, cstride, chromaRows}, {cb, cstride, chromaRows}};
    } else if (ok) {
        // One plane of interleaved chroma, in the order the format names
        // (either for YCbCr_420_888); NV16 has a chroma row per luma row.
        const bool crFirst = cr < cb;
        const unsigned int format = info->format;
        ok = ycbcr.chroma_step == 2 && (crFirst ? cb - cr : cr - cb) == 1 &&
             !(format == HAL_PIXEL_FORMAT_YCBCR_422_SP && crFirst) &&
             !(format == HAL_PIXEL_FORMAT_YCRCB_420_SP && !crFirst);
        const uint32_t chromaRows =
                format == HAL_PIXEL_FORMAT_YCBCR_422_SP ? lumaRows : (lumaRows + 1) / 2;
        planes = {{y, ystride, lumaRows}, {chroma, cstride, chromaRows}};
    }
    if (!ok) {
        planes.clear();
        mapper.unlock(target);
        return false;
    }
    lockedHandle = target;
    return true;
}

#endif

} // namespace tamo

#include <tamo/ImageBuffer.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <sys/stat.h>
#include <system/graphics.h>

#include "Gralloc1Wrapper.h"
#include "GrallocBackend.h"
#include "ImageBufferPrivate.h"
#include "TamoLog.h"

// TAMO_GRALLOC_PLACEHOLDER: buffers without memory. Allocation succeeds
// without allocating, lock only records its label, unlock answers -1 and
// the plane table stays empty.
#ifndef TAMO_GRALLOC_PLACEHOLDER
#define TAMO_GRALLOC_PLACEHOLDER 0
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
    unmapPlanes();
    // Only an allocated buffer has a handle of its own.
    gralloc::release(const_cast<native_handle*>(handle));
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
    // A failed save removes the file only if it made it: the path may be a
    // device or a file the caller keeps.
    struct stat before;
    const bool existed = ::stat(path.c_str(), &before) == 0;
    errno = 0;
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        int error = errno;
        TAMO_LOGE("open fail(%d) %s [%s]", error, std::strerror(error), path.c_str());
        return false;
    }

    const std::string label = "saveToFile_" + path;
    bool locked = lock(label);
    const unsigned int count = ImageBufferUtils::getNumberOfPlanes(info->format);
    bool mapped = locked && planes.size() >= count;
    if (locked && !mapped)
        TAMO_LOGE("buffer not mapped [%s]", path.c_str());
    for (unsigned int i = 0; mapped && i < count; i++)
        std::fwrite(planes[i].va, 1, static_cast<size_t>(planes[i].stride) * planes[i].scanlines,
                    file);

    std::fclose(file);
    if (locked)
        unlock(label);
    if (!mapped && !existed)
        std::remove(path.c_str());
    return mapped;
}

bool GrallocBuffer::loadFromFile(std::string const& path)
{
    errno = 0;
    FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) {
        int error = errno;
        TAMO_LOGE("open fail(%d) %s [%s]", error, std::strerror(error), path.c_str());
        return false;
    }

    const std::string label = "loadFromFile_" + path;
    bool locked = lock(label);
    const unsigned int count = ImageBufferUtils::getNumberOfPlanes(info->format);
    bool mapped = locked && planes.size() >= count;
    if (locked && !mapped)
        TAMO_LOGE("buffer not mapped [%s]", path.c_str());
    // A short file leaves the rest of the buffer as it was.
    for (unsigned int i = 0; mapped && i < count; i++)
        std::fread(planes[i].va, 1, static_cast<size_t>(planes[i].stride) * planes[i].scanlines,
                   file);

    std::fclose(file);
    if (locked)
        unlock(label);
    return mapped;
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
    if (lockCount == 0 && !lock()) {
        TAMO_LOGE("lock fail [%s]", lockLabel.c_str());
        return false;
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
    if (--lockCount == 0)
        unmapPlanes();
    return 0;
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

bool GrallocBuffer::allocateGrallocBuffer()
{
#if TAMO_GRALLOC_PLACEHOLDER
    return true;
#else
    if (handle == nullptr)
        handle = gralloc::allocate(allocWidth, allocHeight, allocFormat,
                                   info->producerUsage | info->consumerUsage);
    return handle != nullptr;
#endif
}

bool GrallocBuffer::lock()
{
#if TAMO_GRALLOC_PLACEHOLDER
    return true;
#else
    return mappedBase != nullptr || mapPlanes();
#endif
}

bool GrallocBuffer::lockYCbCr()
{
    // The plane table already separates luma and chroma.
    return lock();
}

bool GrallocBuffer::mapPlanes()
{
    native_handle const* target = importedHandle != nullptr ? *importedHandle : handle;
    return gralloc::map(target, &mappedBase, &mappedSize, planes);
}

void GrallocBuffer::unmapPlanes()
{
    planes.clear();
    gralloc::unmap(mappedBase, mappedSize);
    mappedBase = nullptr;
    mappedSize = 0;
}

} // namespace tamo

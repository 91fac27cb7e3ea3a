/*
 * Buffers in shared memory: one memfd per buffer, its geometry carried in
 * the handle's ints so that any clone of the handle maps the same planes.
 */
#include "GrallocBackend.h"

#include <cstdint>
#include <limits>
#include <utility>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system/graphics.h>

namespace tamo::gralloc {

namespace {

// Handle ints: magic, width, height, format.
constexpr int kMagic = 0x74676d62;
constexpr int kNumInts = 4;
constexpr uint64_t kRowAlign = 16;

uint64_t alignRow(uint64_t bytes)
{
    return (bytes + kRowAlign - 1) / kRowAlign * kRowAlign;
}

size_t totalSize(const std::vector<PlaneLayout>& planes)
{
    if (planes.empty())
        return 0;
    const PlaneLayout& last = planes.back();
    return last.offset + static_cast<size_t>(last.stride) * last.scanlines;
}

bool isOurs(const native_handle_t* handle)
{
    return handle != nullptr && handle->version == sizeof(native_handle_t) &&
           handle->numFds == 1 && handle->numInts == kNumInts && handle->data[1] == kMagic;
}

} // namespace

std::vector<PlaneLayout> planeLayout(uint32_t width, uint32_t height, uint32_t format)
{
    const uint64_t w = width;
    const uint64_t h = height;
    const uint64_t luma = alignRow(w);
    const uint64_t chromaRows = (h + 1) / 2;
    std::vector<std::pair<uint64_t, uint64_t>> rows; // stride, scanlines

    switch (format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
        rows = {{luma, h}, {luma, h}};
        break;
    case HAL_PIXEL_FORMAT_YCRCB_420_SP:
    case HAL_PIXEL_FORMAT_YCBCR_420_888:
        rows = {{luma, h}, {luma, chromaRows}};
        break;
    case HAL_PIXEL_FORMAT_YV12: {
        const uint64_t chroma = alignRow(luma / 2);
        rows = {{luma, h}, {chroma, chromaRows}, {chroma, chromaRows}};
        break;
    }
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
        rows = {{alignRow(2 * w), h}};
        break;
    case HAL_PIXEL_FORMAT_RAW16:
    case HAL_PIXEL_FORMAT_Y16:
        rows = {{2 * luma, h}};
        break;
    case HAL_PIXEL_FORMAT_RAW10:
        rows = {{alignRow((w + 3) / 4 * 5), h}};
        break;
    case HAL_PIXEL_FORMAT_RAW12:
        rows = {{alignRow((w + 1) / 2 * 3), h}};
        break;
    case HAL_PIXEL_FORMAT_Y8:
        rows = {{luma, h}};
        break;
    case HAL_PIXEL_FORMAT_BLOB:
        rows = {{w, h}};
        break;
    default:
        return {};
    }

    std::vector<PlaneLayout> planes;
    size_t offset = 0;
    for (const auto& [stride, scanlines] : rows) {
        if (stride == 0 || scanlines == 0 || stride > std::numeric_limits<uint32_t>::max() ||
            scanlines > std::numeric_limits<uint32_t>::max() ||
            stride * scanlines > std::numeric_limits<size_t>::max() - offset)
            return {};
        planes.push_back({offset, static_cast<uint32_t>(stride), static_cast<uint32_t>(scanlines)});
        offset += stride * scanlines;
    }
    return planes;
}

native_handle_t* allocate(uint32_t width, uint32_t height, uint32_t format, uint64_t)
{
    size_t size = totalSize(planeLayout(width, height, format));
    if (size == 0 || size > static_cast<size_t>(std::numeric_limits<off_t>::max()))
        return nullptr;

    int fd = memfd_create("tamo-gralloc", MFD_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (ftruncate(fd, static_cast<off_t>(size)) != 0) {
        close(fd);
        return nullptr;
    }
    native_handle_t* handle = native_handle_create(1, kNumInts);
    if (handle == nullptr) {
        close(fd);
        return nullptr;
    }
    handle->data[0] = fd;
    handle->data[1] = kMagic;
    handle->data[2] = static_cast<int>(width);
    handle->data[3] = static_cast<int>(height);
    handle->data[4] = static_cast<int>(format);
    return handle;
}

void release(native_handle_t* handle)
{
    if (handle == nullptr)
        return;
    native_handle_close(handle);
    native_handle_delete(handle);
}

bool map(const native_handle_t* handle, void** base, size_t* size,
         std::vector<GrallocBuffer::Plane>& planes)
{
    if (!isOurs(handle))
        return false;
    std::vector<PlaneLayout> layout =
            planeLayout(static_cast<uint32_t>(handle->data[2]),
                        static_cast<uint32_t>(handle->data[3]),
                        static_cast<uint32_t>(handle->data[4]));
    size_t bytes = totalSize(layout);
    struct stat st {};
    if (bytes == 0 || fstat(handle->data[0], &st) != 0 || st.st_size < 0 ||
        static_cast<size_t>(st.st_size) < bytes)
        return false;

    void* addr = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, handle->data[0], 0);
    if (addr == MAP_FAILED)
        return false;

    planes.clear();
    for (const PlaneLayout& p : layout)
        planes.push_back({static_cast<uint8_t*>(addr) + p.offset, p.stride, p.scanlines});
    *base = addr;
    *size = bytes;
    return true;
}

void unmap(void* base, size_t size)
{
    if (base != nullptr)
        munmap(base, size);
}

} // namespace tamo::gralloc

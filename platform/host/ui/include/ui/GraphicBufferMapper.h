/*
 * Host libui: imports buffer handles into the process and locks them for
 * the CPU. Each handle is mapped once, when it is allocated or imported,
 * until it is freed; lock and unlock only hand out and take back access,
 * so they cost the same whatever the buffer's size. Locks of one handle
 * nest: each needs its unlock.
 *
 * Every call may run on any thread at any time; locking one handle from
 * several threads is the callers' business, as on a device.
 */
#pragma once

#include <cstdint>

#include <cutils/native_handle.h>
#include <system/graphics.h>
#include <ui/PixelFormat.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/Singleton.h>

namespace android {

class GraphicBufferMapper : public Singleton<GraphicBufferMapper> {
public:
    enum Version {
        GRALLOC_2,
        GRALLOC_3,
        GRALLOC_4,
    };

    static inline GraphicBufferMapper& get() { return getInstance(); }

    // Makes rawHandle (one made by the allocator, in this or another
    // process) usable here, checking it against the description given;
    // *outHandle is freed with freeBuffer().
    status_t importBuffer(buffer_handle_t rawHandle, uint32_t width, uint32_t height,
                          uint32_t layerCount, PixelFormat format, uint64_t usage,
                          uint32_t stride, buffer_handle_t* outHandle);
    status_t freeBuffer(buffer_handle_t handle);

    // The start of the buffer, any format. usage must name CPU access
    // (0xF reading, 0xF0 writing) that the buffer was allocated with, and
    // bounds must lie within the buffer; BAD_VALUE otherwise. Bytes per
    // pixel and per row are -1 over mapper 2.x, the first plane's over 3.0,
    // and over 4.0 those all planes share (-1 when they differ).
    status_t lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds, void** vaddr,
                  int32_t* outBytesPerPixel = nullptr, int32_t* outBytesPerStride = nullptr);
    // Luma and chroma of a YCbCr buffer; BAD_VALUE for a format without chroma.
    status_t lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                       android_ycbcr* ycbcr);
    status_t unlock(buffer_handle_t handle);

    // The mapper version this process's gralloc goes through.
    Version getMapperVersion() const;

private:
    friend class Singleton<GraphicBufferMapper>;
    GraphicBufferMapper() = default;
};

} // namespace android

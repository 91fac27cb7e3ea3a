/*
 * Host only: the gralloc implementation behind libui's allocator and
 * mapper and behind the host graphics mapper HIDL service. Not part of the
 * device's libui.
 *
 * A buffer is one memfd. Its handle carries the descriptor and the
 * buffer's geometry (width, height, format, usage), so a clone of it, or
 * one imported in another process, maps the same memory. Rows are padded
 * to 64 bytes (a BLOB's single row is not). Planes lie back to back:
 *
 *   format              planes, stride x rows, A(x) = x rounded up to 64
 *   NV16 (0x10)         Y A(w) x h, then CbCr A(w) x h (Cb first)
 *   NV21 (0x11)         Y A(w) x h, then CrCb A(w) x ceil(h/2) (Cr first)
 *   YCbCr_420_888       as NV21
 *   YV12                Y A(w) x h, Cr A(A(w)/2) x ceil(h/2), Cb as Cr
 *   YUY2 (0x14)         A(2w) x h
 *   RAW16, Y16          A(2w) x h
 *   RAW10               A(5 ceil(w/4)) x h
 *   RAW12               A(3 ceil(w/2)) x h
 *   Y8                  A(w) x h
 *   BLOB (0x21)         w x 1
 *
 * Every function is thread-safe.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include <cutils/native_handle.h>
#include <utils/Errors.h>

namespace android {
namespace host {

class HostGralloc {
public:
    // For the mapper service: import and free without a description to
    // check (IMapper::importBuffer has none). Any handle imported or
    // allocated may be freed through either path.
    static status_t importBuffer(buffer_handle_t rawHandle, buffer_handle_t* outHandle);
    static status_t freeBuffer(buffer_handle_t handle);

    // For tests: the next count allocations fail with NO_MEMORY.
    static void failNextAllocations(uint32_t count);
    // Handles from the allocator not yet freed.
    static size_t liveAllocations();
    // Handles mapped (allocated or imported) not yet freed.
    static size_t liveMappings();
};

} // namespace host
} // namespace android

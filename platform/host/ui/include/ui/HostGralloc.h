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
 * The mapper version the host offers, 2, 3 or 4, is TAMO_HOST_MAPPER's
 * (default 4): the host service registry's default mapper is of that
 * version only, and libui answers as it does over that version (on 2.x no
 * bytes per pixel or per stride from lock(); on 4.0 those of the plane
 * layouts, -1 when the planes differ).
 *
 * Every function is thread-safe.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include <cutils/native_handle.h>
#include <ui/Rect.h>
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

    // A locked buffer as the gralloc lays it out (see the table above).
    struct CpuAccess {
        int32_t format = 0;
        uint32_t width = 0;
        uint32_t height = 0;
        size_t size = 0; // bytes, every plane
        uint8_t* base = nullptr;
        uint32_t stride = 0;       // bytes per row of the first plane
        int32_t bitsPerSample = 0; // of the first plane: 10 and 12 for packed RAW
        bool ycbcr = false;        // chroma below, YCbCr formats only
        uint8_t* cb = nullptr;
        uint8_t* cr = nullptr;
        uint32_t chromaStride = 0;
        uint32_t chromaStep = 0;

        // Whole bytes per pixel of the first plane; -1 for packed samples.
        int32_t bytesPerPixel() const { return bitsPerSample % 8 == 0 ? bitsPerSample / 8 : -1; }
    };
    // The layout of a buffer without locking it; BAD_VALUE for one unknown.
    static status_t describe(buffer_handle_t handle, CpuAccess* out);
    // For the mapper service: CPU access, counted as libui's locks are.
    // BAD_VALUE for usage without CPU bits or bits the buffer lacks, bounds
    // outside it, or ycbcr for a format without chroma.
    static status_t lock(buffer_handle_t handle, uint64_t usage, const Rect& bounds, bool ycbcr,
                         CpuAccess* out);
    static status_t unlock(buffer_handle_t handle);

    // The mapper version offered (TAMO_HOST_MAPPER, read once; 4 when it
    // is unset or not 2, 3 or 4, with a warning for the latter).
    static int mapperVersion();
    // For tests: offer another version from now on; reset the service
    // registry for its default mapper to follow.
    static void setMapperVersion(int version);

    // For tests: the next count allocations fail with NO_MEMORY.
    static void failNextAllocations(uint32_t count);
    // Handles from the allocator not yet freed.
    static size_t liveAllocations();
    // Handles mapped (allocated or imported) not yet freed.
    static size_t liveMappings();
};

} // namespace host
} // namespace android

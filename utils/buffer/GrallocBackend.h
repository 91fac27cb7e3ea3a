/*
 * Where a GrallocBuffer's memory comes from: allocation, CPU mapping and
 * the plane layout of each format (see GrallocBuffer in ImageBuffer.h).
 * GrallocMemoryBackend.cpp backs buffers with shared memory; a build that
 * allocates through the platform's allocator provides these functions
 * instead. None of them logs: callers report failures.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <cutils/native_handle.h>

#include <tamo/ImageBuffer.h>

namespace tamo::gralloc {

struct PlaneLayout {
    size_t offset = 0;
    uint32_t stride = 0;     // bytes per row
    uint32_t scanlines = 0;  // rows
};

// The planes of a (width, height, format) allocation, back to back; empty
// when the format has no layout or the sizes do not fit.
std::vector<PlaneLayout> planeLayout(uint32_t width, uint32_t height, uint32_t format);

// A new buffer's handle, owned by the caller until release(); null on failure.
native_handle_t* allocate(uint32_t width, uint32_t height, uint32_t format, uint64_t usage);
void release(native_handle_t* handle);

// Maps a handle from allocate(), or a clone of one, and fills planes.
bool map(const native_handle_t* handle, void** base, size_t* size,
         std::vector<GrallocBuffer::Plane>& planes);
void unmap(void* base, size_t size);

} // namespace tamo::gralloc

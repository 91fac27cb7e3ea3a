/*
 * Host libui: the process's graphics buffer allocator. Buffers live in
 * shared memory (<ui/HostGralloc.h> says how); a handle it hands out is
 * already imported and mapped here, ready for GraphicBufferMapper::lock.
 *
 * Every call may run on any thread at any time.
 */
#pragma once

#include <cstdint>
#include <string>

#include <cutils/native_handle.h>
#include <ui/PixelFormat.h>
#include <utils/Errors.h>
#include <utils/Singleton.h>

namespace android {

class GraphicBufferAllocator : public Singleton<GraphicBufferAllocator> {
public:
    static inline GraphicBufferAllocator& get() { return getInstance(); }

    // A buffer of w x h pixels; *stride receives its row pitch in pixels
    // (a BLOB's is its width). On failure (BAD_VALUE for a format or size
    // the allocator cannot make, NO_MEMORY) *handle is left alone.
    status_t allocate(uint32_t w, uint32_t h, PixelFormat format, uint32_t layerCount,
                      uint64_t usage, buffer_handle_t* handle, uint32_t* stride,
                      std::string requestorName);

    // Unmaps and frees a handle that allocate() gave.
    status_t free(buffer_handle_t handle);

private:
    friend class Singleton<GraphicBufferAllocator>;
    GraphicBufferAllocator() = default;
};

} // namespace android

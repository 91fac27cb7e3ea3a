/*
 * A stream buffer as the platform layer describes it to the framework: the
 * buffer's handle, its fences and its status.
 */
#pragma once

#include <cstdint>
#include <type_traits>

struct native_handle;

namespace tamo::platform {

enum class AppBufferStatus : uint32_t {
    OK = 0,
    ERROR = 1,
};

// Copied whole by its users, never interpreted by them.
struct AppStreamBuffer {
    int32_t streamId = -1;
    uint64_t bufferId = 0;
    const native_handle* buffer = nullptr;
    AppBufferStatus status = AppBufferStatus::OK;
    const native_handle* acquireFence = nullptr;
    const native_handle* releaseFence = nullptr;
};

static_assert(std::is_trivially_copyable_v<AppStreamBuffer>,
              "AppStreamBuffer is copied as plain bytes");

} // namespace tamo::platform

/*
 * Stream buffers: an image buffer bound to a stream and a request.
 */
#pragma once

#include <cstdint>

namespace tamo {

/*
 * One stream as the camera framework asked for it and as the HAL answered.
 * Shared by stream buffers, builders and configurations; every field starts
 * at 0 (physicalCameraId included: -1, "no particular camera", is set by
 * whoever fills the record).
 */
struct StreamInfo {
    int32_t streamId = 0;
    uint32_t streamType = 0;  // 0 output, 1 input
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t format = 0;
    uint64_t usage = 0;
    int32_t dataSpace = 0;
    uint32_t rotation = 0;
    int32_t physicalCameraId = 0;
    uint32_t bufferSize = 0;
    uint64_t producerUsage = 0;
    uint64_t consumerUsage = 0;
    uint32_t overrideFormat = 0;
    uint32_t maxBuffers = 0;
    uint32_t overrideDataSpace = 0;
};

} // namespace tamo

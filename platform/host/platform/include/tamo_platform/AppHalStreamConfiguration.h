/*
 * The HAL's answer to a stream configuration: one record per configured
 * stream, with the format, usages and buffer count the HAL chose for it.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tamo::platform {

struct AppHalStream {
    int32_t streamId = -1;
    uint32_t overrideFormat = 0;
    uint64_t producerUsage = 0;
    uint64_t consumerUsage = 0;
    uint32_t maxBuffers = 0;
    uint32_t overrideDataSpace = 0;
    std::string physicalCameraId; // empty: not bound to one physical camera
    bool supportOffline = false;
};

struct AppHalStreamConfiguration {
    std::vector<AppHalStream> halStreams;
};

} // namespace tamo::platform

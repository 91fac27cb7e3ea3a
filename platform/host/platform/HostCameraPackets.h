/*
 * The default environment's cameras as packets, made at build time from
 * cameras/cameraN.json (camera N); see tools/tamo/CameraPackets.cpp.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace tamo::platform::host {

struct HostCameraPacket {
    const uint8_t* bytes; // a camera_metadata packet, 8-byte aligned
    size_t size;
    const char* source;   // the description's file name
};

extern const HostCameraPacket kHostCameraPackets[];
extern const size_t kHostCameraPacketCount;

} // namespace tamo::platform::host

/*
 * Fixed camera tables of the vendor tag unit, for code inside the library
 * and its tests. Built at library load; never changed.
 */
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include <tamo/VendorTag.h>

namespace tamo {

// Indexed by camera id: entry i describes camera i.
const std::vector<LogicalCameraInfo>& logicalCameraTable();

// Camera id to tuning identity; ids without one are absent.
const std::map<uint32_t, SENSOR_ID>& sensorIdMap();

} // namespace tamo

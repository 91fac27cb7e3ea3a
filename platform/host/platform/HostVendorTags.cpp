#include "HostVendorTags.h"

#include <system/camera_metadata.h>

#include <tamo_platform/HostPlatform.h>

namespace tamo::platform::host {

const std::vector<AppVendorTagSection>& hostVendorTagSections()
{
    static const std::vector<AppVendorTagSection> sections = {
        {"com.tamo.platform.sensor",
         {
             {kHostVendorTagBase + 0x0000, "sensorModeId", TYPE_INT32},
             {kHostVendorTagBase + 0x0001, "exposureTimeRange", TYPE_INT64},
             {kHostVendorTagBase + 0x0002, "analogGainRange", TYPE_FLOAT},
             {kHostVendorTagBase + 0x0003, "moduleName", TYPE_BYTE},
         }},
        {"com.tamo.platform.isp",
         {
             {kHostVendorTagBase + 0x10000, "pipelineDepth", TYPE_INT32},
             {kHostVendorTagBase + 0x10001, "tuningMode", TYPE_BYTE},
             {kHostVendorTagBase + 0x10002, "noiseModel", TYPE_DOUBLE},
             {kHostVendorTagBase + 0x10003, "colorCorrectionMatrix", TYPE_RATIONAL},
         }},
    };
    return sections;
}

} // namespace tamo::platform::host

/*
 * Host libgralloctypes: the encoding of IMapper 4.0 buffer metadata, here
 * the plane layouts a CPU reader needs. Same names and byte layout as the
 * platform's: native-endian 64-bit integers, strings as a 64-bit length and
 * their characters, the metadata type (name, value) first.
 */
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <aidl/android/hardware/graphics/common/ExtendableType.h>
#include <aidl/android/hardware/graphics/common/PlaneLayout.h>
#include <aidl/android/hardware/graphics/common/PlaneLayoutComponentType.h>
#include <aidl/android/hardware/graphics/common/StandardMetadataType.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <utils/Errors.h>

inline bool operator==(const aidl::android::hardware::graphics::common::ExtendableType& lhs,
                       const aidl::android::hardware::graphics::common::ExtendableType& rhs)
{
    return lhs.name == rhs.name && lhs.value == rhs.value;
}

inline bool operator!=(const aidl::android::hardware::graphics::common::ExtendableType& lhs,
                       const aidl::android::hardware::graphics::common::ExtendableType& rhs)
{
    return !(lhs == rhs);
}

inline bool operator==(const aidl::android::hardware::graphics::common::PlaneLayoutComponent& lhs,
                       const aidl::android::hardware::graphics::common::PlaneLayoutComponent& rhs)
{
    return lhs.type == rhs.type && lhs.offsetInBits == rhs.offsetInBits &&
           lhs.sizeInBits == rhs.sizeInBits;
}

inline bool operator==(const aidl::android::hardware::graphics::common::PlaneLayout& lhs,
                       const aidl::android::hardware::graphics::common::PlaneLayout& rhs)
{
    // Component by component: std's == would not find these operators.
    if (lhs.components.size() != rhs.components.size())
        return false;
    for (size_t i = 0; i < lhs.components.size(); i++)
        if (!(lhs.components[i] == rhs.components[i]))
            return false;
    return lhs.offsetInBytes == rhs.offsetInBytes &&
           lhs.sampleIncrementInBits == rhs.sampleIncrementInBits &&
           lhs.strideInBytes == rhs.strideInBytes && lhs.widthInSamples == rhs.widthInSamples &&
           lhs.heightInSamples == rhs.heightInSamples &&
           lhs.totalSizeInBytes == rhs.totalSizeInBytes &&
           lhs.horizontalSubsampling == rhs.horizontalSubsampling &&
           lhs.verticalSubsampling == rhs.verticalSubsampling;
}

namespace android {
namespace gralloc4 {

#define GRALLOC4_STANDARD_METADATA_TYPE "android.hardware.graphics.common.StandardMetadataType"
#define GRALLOC4_STANDARD_PLANE_LAYOUT_COMPONENT_TYPE \
    "android.hardware.graphics.common.PlaneLayoutComponentType"

static const android::hardware::graphics::mapper::V4_0::IMapper::MetadataType
        MetadataType_PlaneLayouts = {
                GRALLOC4_STANDARD_METADATA_TYPE,
                static_cast<int64_t>(
                        aidl::android::hardware::graphics::common::StandardMetadataType::PLANE_LAYOUTS)};

#define GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(component)                                      \
    static const aidl::android::hardware::graphics::common::ExtendableType                    \
            PlaneLayoutComponentType_##component = {                                          \
                    GRALLOC4_STANDARD_PLANE_LAYOUT_COMPONENT_TYPE,                            \
                    static_cast<int64_t>(                                                     \
                            aidl::android::hardware::graphics::common::PlaneLayoutComponentType::component)}
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(Y);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(CB);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(CR);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(R);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(G);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(B);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(RAW);
GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE(A);
#undef GRALLOC4_PLANE_LAYOUT_COMPONENT_TYPE

// NO_ERROR, or BAD_VALUE for input that is not an encoding of plane layouts
// (another metadata type, too short, or bytes left over).
status_t encodePlaneLayouts(
        const std::vector<aidl::android::hardware::graphics::common::PlaneLayout>& planeLayouts,
        android::hardware::hidl_vec<uint8_t>* outPlaneLayouts);
status_t decodePlaneLayouts(
        const android::hardware::hidl_vec<uint8_t>& planeLayouts,
        std::vector<aidl::android::hardware::graphics::common::PlaneLayout>* outPlaneLayouts);

} // namespace gralloc4
} // namespace android

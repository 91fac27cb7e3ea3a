#include <tamo/ImageBuffer.h>

#include <utility>

#include "TamoLog.h"

namespace tamo {

PlatformBufferAllocator::PlatformBufferAllocator(std::shared_ptr<ImageInfo> info,
                                                 unsigned int mode)
    : mode(mode), info(std::move(info))
{
}

std::shared_ptr<ImageBuffer> PlatformBufferAllocator::run(native_handle const** handle,
                                                          native_handle const* acquireFence)
{
    if (mode == MODE_ALLOCATE) {
        auto buffer = std::make_shared<GrallocBuffer>(info);
        buffer->context = context;
        buffer->allocFormat = ImageBufferUtils::getAllocationFormat(info->format);
        buffer->allocWidth =
                ImageBufferUtils::getAllocationWidth(info->format, info->width, info->height);
        buffer->allocHeight =
                ImageBufferUtils::getAllocationHeight(info->format, info->width, info->height);
        if (!buffer->allocateGrallocBuffer()) {
            TAMO_LOGE("gralloc fail");
            return nullptr;
        }
        return buffer;
    }

    if (mode == MODE_IMPORT) {
        // The caller's handle is wrapped once; it stays the caller's.
        std::shared_ptr<GrallocBuffer> buffer;
        std::call_once(importOnce, [&] {
            buffer = std::make_shared<GrallocBuffer>(info);
            buffer->importedHandle = handle;
            buffer->acquireFence = acquireFence;
            buffer->allocFormat = ImageBufferUtils::getAllocationFormat(info->format);
            buffer->allocWidth =
                    ImageBufferUtils::getAllocationWidth(info->format, info->width, info->height);
            buffer->allocHeight =
                    ImageBufferUtils::getAllocationHeight(info->format, info->width, info->height);
        });
        if (buffer != nullptr)
            return buffer;
    }

    TAMO_LOGE("error");
    return nullptr;
}

} // namespace tamo

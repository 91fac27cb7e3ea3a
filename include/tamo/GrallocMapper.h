/*
 * The process's access to the graphics mapper HAL, bound once to the newest
 * in-process mapper the device offers (4.0, then 3.0, then 2.0), for
 * importing buffer handles that come from elsewhere and freeing them again.
 *
 * Threads: getInstance() may be called from any thread; the first call
 * makes the mapper once. importBuffer() and freeBuffer() may then run on
 * several threads at once: the object does not change after it is made and
 * the mapper HAL is thread-safe. Freeing a handle must not overlap its own
 * import or another use of it; that is the caller's to order.
 */
#pragma once

#include <android/hardware/graphics/mapper/2.0/IMapper.h>
#include <android/hardware/graphics/mapper/3.0/IMapper.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <cutils/native_handle.h>
#include <hidl/HidlSupport.h>
#include <utils/StrongPointer.h>

namespace tamo {

class IGrallocMapper {
public:
    virtual ~IGrallocMapper() = default;

    // On success outHandle receives the imported handle, to be given back
    // to freeBuffer().
    virtual bool importBuffer(android::hardware::hidl_handle const& rawHandle,
                              native_handle const*& outHandle) = 0;
    virtual void freeBuffer(native_handle const* handle) = 0;

    // The process's mapper, made on first use.
    static IGrallocMapper& getInstance();
};

class GrallocMapper : public IGrallocMapper {
public:
    // Chooses the mapper version. Everything but tests goes through
    // IGrallocMapper::getInstance() instead.
    GrallocMapper();
    ~GrallocMapper() override;
    GrallocMapper(const GrallocMapper&) = delete;
    GrallocMapper& operator=(const GrallocMapper&) = delete;

    bool importBuffer(android::hardware::hidl_handle const& rawHandle,
                      native_handle const*& outHandle) override;
    void freeBuffer(native_handle const* handle) override;

private:
    template <typename IMapper, typename Error>
    bool importBufferInternal(android::sp<IMapper> mapper,
                              android::hardware::hidl_handle const& rawHandle,
                              native_handle const*& outHandle);

    android::sp<android::hardware::graphics::mapper::V2_0::IMapper> mapper2;
    android::sp<android::hardware::graphics::mapper::V3_0::IMapper> mapper3;
    android::sp<android::hardware::graphics::mapper::V4_0::IMapper> mapper4;
};

} // namespace tamo

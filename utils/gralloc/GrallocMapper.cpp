#include <tamo/GrallocMapper.h>

#include "TamoLog.h"

namespace tamo {

using android::sp;
using android::hardware::hidl_handle;
namespace V2_0 = android::hardware::graphics::mapper::V2_0;
namespace V3_0 = android::hardware::graphics::mapper::V3_0;
namespace V4_0 = android::hardware::graphics::mapper::V4_0;

namespace {

// Only an in-process mapper may hand out pointers this process can use.
template <typename IMapper>
sp<IMapper> passthroughService()
{
    sp<IMapper> mapper = IMapper::getService("default", false);
    if (mapper != nullptr && !mapper->isRemote())
        return mapper;
    return nullptr;
}

// Error code logged for a free whose transaction failed: the mapper never
// answered, so there is no mapper error to show.
constexpr int32_t kTransactionFailed = -1;

template <typename IMapper>
int32_t freeWith(const sp<IMapper>& mapper, native_handle const* handle)
{
    auto result = mapper->freeBuffer(const_cast<native_handle*>(handle));
    // Reading the value of a failed transaction aborts.
    if (!result.isOk())
        return kTransactionFailed;
    return static_cast<int32_t>(result.withDefault({}));
}

} // namespace

IGrallocMapper& IGrallocMapper::getInstance()
{
    static GrallocMapper instance;
    return instance;
}

GrallocMapper::GrallocMapper()
{
    mapper4 = passthroughService<V4_0::IMapper>();
    if (mapper4 != nullptr) {
        TAMO_LOGV_IF_ENABLED("IMapperV4 enable");
        return;
    }
    TAMO_LOGV_IF_ENABLED("get IMapperV4 fail, try to get IMapperV3");

    mapper3 = passthroughService<V3_0::IMapper>();
    if (mapper3 != nullptr) {
        TAMO_LOGV_IF_ENABLED("IMapperV3 enable");
        return;
    }
    TAMO_LOGV_IF_ENABLED("get IMapperV3 fail, try to get IMapperV2");

    mapper2 = passthroughService<V2_0::IMapper>();
    if (mapper2 == nullptr)
        TAMO_LOGE("get IMapperV2 fail!");
}

GrallocMapper::~GrallocMapper()
{
    mapper4.clear();
    mapper3.clear();
    mapper2.clear();
}

template <typename IMapper, typename Error>
bool GrallocMapper::importBufferInternal(sp<IMapper> mapper, hidl_handle const& rawHandle,
                                         native_handle const*& outHandle)
{
    Error error = Error::NONE;
    auto result = mapper->importBuffer(rawHandle, [&](Error err, void* buffer) {
        error = err;
        if (err == Error::NONE)
            outHandle = static_cast<native_handle const*>(buffer);
    });
    // A failed transaction is deliberately not a failure: the callback never
    // ran, so NONE stays and outHandle is as it was. Asking keeps a failed
    // Return from aborting when it goes away.
    (void)result.isOk();
    return error == Error::NONE;
}

bool GrallocMapper::importBuffer(hidl_handle const& rawHandle, native_handle const*& outHandle)
{
    if (mapper4 != nullptr)
        return importBufferInternal<V4_0::IMapper, V4_0::Error>(mapper4, rawHandle, outHandle);
    if (mapper3 != nullptr)
        return importBufferInternal<V3_0::IMapper, V3_0::Error>(mapper3, rawHandle, outHandle);
    if (mapper2 != nullptr)
        return importBufferInternal<V2_0::IMapper, V2_0::Error>(mapper2, rawHandle, outHandle);
    return false;
}

void GrallocMapper::freeBuffer(native_handle const* handle)
{
    int32_t error;
    if (mapper4 != nullptr)
        error = freeWith<V4_0::IMapper>(mapper4, handle);
    else if (mapper3 != nullptr)
        error = freeWith<V3_0::IMapper>(mapper3, handle);
    else if (mapper2 != nullptr)
        error = freeWith<V2_0::IMapper>(mapper2, handle);
    else
        return;
    if (error != 0)
        TAMO_LOGE("free Buffer fail : (%d)", error);
}

} // namespace tamo

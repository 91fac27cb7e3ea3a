#include <hidl/Status.h>

namespace android {
namespace hardware {

Status Status::fromExceptionCode(int32_t exceptionCode)
{
    Status status;
    status.mException = exceptionCode;
    return status;
}

std::string Status::description() const
{
    if (isOk())
        return "No error";
    return "Status(" + std::to_string(mException) + ")";
}

} // namespace hardware
} // namespace android

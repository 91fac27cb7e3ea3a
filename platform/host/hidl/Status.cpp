#include <hidl/Status.h>

#include <cstdio>
#include <cstdlib>

namespace android {
namespace hardware {

Status Status::ok()
{
    return Status();
}

Status Status::fromExceptionCode(int32_t exceptionCode)
{
    Status status;
    status.setException(exceptionCode, "");
    return status;
}

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message)
{
    Status status;
    status.setException(exceptionCode, message);
    return status;
}

Status Status::fromStatusT(status_t status)
{
    Status result;
    result.setFromStatusT(status);
    return result;
}

void Status::setException(int32_t ex, const char* message)
{
    mException = ex;
    mErrorCode = ex == EX_TRANSACTION_FAILED ? UNKNOWN_ERROR : OK;
    mMessage = message != nullptr ? message : "";
}

void Status::setFromStatusT(status_t status)
{
    mException = status == OK ? EX_NONE : EX_TRANSACTION_FAILED;
    mErrorCode = status;
    mMessage.clear();
}

std::string Status::description() const
{
    if (isOk())
        return "No error";
    std::string text = mException == EX_TRANSACTION_FAILED
                               ? "Status(EX_TRANSACTION_FAILED): " + std::to_string(mErrorCode)
                               : "Status(" + std::to_string(mException) + ")";
    if (!mMessage.empty())
        text += ": '" + mMessage + "'";
    return text;
}

namespace details {

void logAlwaysFatal(const char* message)
{
    std::fprintf(stderr, "hidl: %s\n", message);
    std::abort();
}

return_status& return_status::operator=(return_status&& other) noexcept
{
    mStatus = other.mStatus;
    mCheckedStatus = other.mCheckedStatus;
    // What was moved out is no longer this object's to check.
    other.mCheckedStatus = true;
    return *this;
}

return_status::~return_status()
{
    if (!mCheckedStatus && !isOkUnchecked())
        logAlwaysFatal(("Failed HIDL return status not checked: " + description()).c_str());
}

void return_status::assertOk() const
{
    if (!isOk())
        logAlwaysFatal(("Attempted to retrieve value from failed HIDL call: " + description()).c_str());
}

void return_status::onValueRetrieval() const
{
    assertOk();
}

} // namespace details

} // namespace hardware
} // namespace android

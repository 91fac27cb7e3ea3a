/*
 * Host libhidlbase: the transport status of a HIDL call and the Return<>
 * wrapper that carries it beside the call's value.
 */
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace android {
namespace hardware {

class Status final {
public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(); }
    static Status fromExceptionCode(int32_t exceptionCode);

    Status() = default;

    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    std::string description() const;

private:
    int32_t mException = EX_NONE;
};

namespace details {

class return_status {
public:
    return_status() = default;
    return_status(const Status& s) : mStatus(s) {}

    bool isOk() const { return mStatus.isOk(); }
    bool isDeadObject() const { return false; }
    std::string description() const { return mStatus.description(); }

protected:
    Status mStatus;
};

} // namespace details

template <typename T>
class Return : public details::return_status {
public:
    Return(T v) : details::return_status(), mVal(std::move(v)) {}
    Return(const Status& s) : details::return_status(s), mVal{} {}

    Return(const Return&) = default;
    Return(Return&&) = default;
    Return& operator=(const Return&) = default;
    Return& operator=(Return&&) = default;

    T withDefault(T t) const { return isOk() ? mVal : t; }
    operator T() const { return mVal; }

private:
    T mVal;
};

template <>
class Return<void> : public details::return_status {
public:
    Return() : details::return_status() {}
    Return(const Status& s) : details::return_status(s) {}
};

inline Return<void> Void()
{
    return Return<void>();
}

} // namespace hardware
} // namespace android

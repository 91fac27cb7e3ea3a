/*
 * Host libhidlbase: the transport status of a HIDL call and the Return<>
 * wrapper that carries it beside the call's value.
 *
 * As on the device, a Return is move-only; reading the value of a failed
 * call aborts the process with a log line, and so does destroying a failed
 * Return whose status nobody asked for (isOk() counts as asking).
 */
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include <utils/Errors.h>
#include <utils/StrongPointer.h>

namespace android {
namespace hardware {

class Status final {
public:
    enum Exception {
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

    static Status ok();
    static Status fromExceptionCode(int32_t exceptionCode);
    static Status fromExceptionCode(int32_t exceptionCode, const char* message);
    // A transport error (DEAD_OBJECT, say); OK gives an OK status.
    static Status fromStatusT(status_t status);

    Status() = default;
    ~Status() = default;
    Status(const Status&) = default;
    Status(Status&&) = default;
    Status& operator=(const Status&) = default;

    void setException(int32_t ex, const char* message);
    void setFromStatusT(status_t status);

    int32_t exceptionCode() const { return mException; }
    const char* exceptionMessage() const { return mMessage.c_str(); }
    status_t transactionError() const { return mException == EX_TRANSACTION_FAILED ? mErrorCode : OK; }

    bool isOk() const { return mException == EX_NONE; }
    std::string description() const;

private:
    int32_t mException = EX_NONE;
    status_t mErrorCode = OK;
    std::string mMessage;
};

template <typename T>
class Return;

namespace details {

[[noreturn]] void logAlwaysFatal(const char* message);

class return_status {
public:
    return_status() {}
    return_status(const Status& s) : mStatus(s) {}

    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;

    return_status(return_status&& other) noexcept { *this = std::move(other); }
    return_status& operator=(return_status&& other) noexcept;

    ~return_status();

    void assertOk() const;

    bool isOkUnchecked() const { return mStatus.isOk(); }

    bool isOk() const
    {
        mCheckedStatus = true;
        return mStatus.isOk();
    }

    bool isDeadObject() const
    {
        bool dead = mStatus.transactionError() == DEAD_OBJECT;
        if (dead)
            mCheckedStatus = true;
        return dead;
    }

    std::string description() const { return mStatus.description(); }

protected:
    void onValueRetrieval() const;

private:
    Status mStatus{};
    mutable bool mCheckedStatus = false;
};

} // namespace details

template <typename T>
class Return : public details::return_status {
public:
    Return(T v) : details::return_status(), mVal{v} {}
    Return(Status s) : details::return_status(s) {}

    Return(Return&& other) noexcept = default;
    Return& operator=(Return&&) noexcept = default;
    ~Return() = default;

    operator T() const
    {
        onValueRetrieval();
        return mVal;
    }

    T withDefault(T t) { return isOk() ? mVal : t; }

private:
    T mVal{};
};

template <typename T>
class Return<sp<T>> : public details::return_status {
public:
    Return(sp<T> v) : details::return_status(), mVal{v} {}
    Return(T* v) : details::return_status(), mVal{v} {}
    template <typename U>
    Return(sp<U> v) : details::return_status(), mVal{v} {}
    template <typename U>
    Return(U* v) : details::return_status(), mVal{v} {}
    Return(Status s) : details::return_status(s) {}

    Return(Return&& other) noexcept = default;
    Return& operator=(Return&&) noexcept = default;
    ~Return() = default;

    operator sp<T>() const
    {
        onValueRetrieval();
        return mVal;
    }

    sp<T> withDefault(sp<T> t) { return isOk() ? mVal : t; }

private:
    sp<T> mVal{};
};

template <>
class Return<void> : public details::return_status {
public:
    Return() : details::return_status() {}
    Return(const Status& s) : details::return_status(s) {}

    Return(Return&&) = default;
    Return& operator=(Return&&) = default;
    ~Return() = default;
};

static inline Return<void> Void()
{
    return Return<void>();
}

} // namespace hardware
} // namespace android

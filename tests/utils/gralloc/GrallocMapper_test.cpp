#include <tamo/GrallocMapper.h>

#include <gtest/gtest.h>

#include <hidl/HostServiceRegistry.h>

#include "LogLines.h"

using namespace tamo;
using namespace testsupport;
using namespace android::hardware;
using namespace android::hardware::graphics::mapper;
using namespace android::hardware::host;
using android::sp;
using Result = std::pair<Lines, std::vector<int>>;

namespace {

// CPU access is not what the mapper singleton uses.
template <typename IMapper, typename Usage>
struct WithoutCpuAccess : IMapper {
    using Rect = typename IMapper::Rect;
    Return<void> lock(void*, Usage, const Rect&, const hidl_handle&, typename IMapper::lock_cb) override { return {}; }
    Return<void> unlock(void*, typename IMapper::unlock_cb) override { return {}; }
};
template <typename IMapper, typename Usage>
struct WithoutYCbCr : WithoutCpuAccess<IMapper, Usage> {
    Return<void> lockYCbCr(void*, Usage, const typename IMapper::Rect&, const hidl_handle&,
                           typename IMapper::lockYCbCr_cb) override { return {}; }
};
using Mapper2 = WithoutYCbCr<V2_0::IMapper, hidl_bitfield<android::hardware::graphics::common::V1_0::BufferUsage>>;
using Mapper3 = WithoutYCbCr<V3_0::IMapper, uint64_t>;
struct Mapper4 : WithoutCpuAccess<V4_0::IMapper, uint64_t> {
    Return<void> get(void*, const MetadataType&, get_cb) override { return {}; }
};
template <typename Error> struct MapperOf;
template <> struct MapperOf<V2_0::Error> { using type = Mapper2; };
template <> struct MapperOf<V3_0::Error> { using type = Mapper3; };
template <> struct MapperOf<V4_0::Error> { using type = Mapper4; };

// Answers with set errors, or fails the transaction before the mapper is
// reached, and counts the calls that reach it.
template <typename IMapper, typename Error>
struct FakeMapper : MapperOf<Error>::type {
    Error importError = Error::NONE, freeError = Error::NONE;
    bool deadTransport = false;
    int calls = 0;
    char token = 0;

    Return<void> importBuffer(const hidl_handle&, typename IMapper::importBuffer_cb cb) override
    {
        if (deadTransport)
            return Status::fromStatusT(android::DEAD_OBJECT);
        calls++; cb(importError, &token); return {};
    }
    // Only what importBuffer handed out is taken back.
    Return<Error> freeBuffer(void* buffer) override
    {
        if (deadTransport)
            return Status::fromStatusT(android::DEAD_OBJECT);
        calls++; return buffer == &token ? freeError : Error::BAD_BUFFER;
    }
};

static_assert(!std::is_copy_constructible_v<Return<V4_0::Error>> && !std::is_copy_assignable_v<Return<void>>,
              "a Return is move-only, as on a device");

TEST(GrallocMapper, TakesTheNewestPassthroughVersionRefusingRemoteServices)
{
    LevelGuard level(3);
    HostServiceRegistry::clear();
    sp<FakeMapper<V4_0::IMapper, V4_0::Error>> v4 = new FakeMapper<V4_0::IMapper, V4_0::Error>;
    sp<FakeMapper<V3_0::IMapper, V3_0::Error>> v3 = new FakeMapper<V3_0::IMapper, V3_0::Error>;
    sp<FakeMapper<V2_0::IMapper, V2_0::Error>> v2 = new FakeMapper<V2_0::IMapper, V2_0::Error>;
    HostServiceRegistry::add<V4_0::IMapper>(v4);
    HostServiceRegistry::add<V3_0::IMapper>(v3);
    HostServiceRegistry::add<V2_0::IMapper>(v2);
    // A new mapper imports a buffer and frees it: the lines logged and the
    // calls that reached versions 4, 3 and 2 so far.
    auto importAndFree = [&] {
        tamo::host::LogCapture capture;
        GrallocMapper mapper;
        native_handle const* out = nullptr;
        if (mapper.importBuffer(hidl_handle(), out))
            mapper.freeBuffer(out);
        return Result{lines(capture), {v4->calls, v3->calls, v2->calls}};
    };
    EXPECT_EQ(importAndFree(), Result({"3 GrallocMapper: IMapperV4 enable"}, {2, 0, 0}));
    v4->importError = V4_0::Error::BAD_BUFFER; // refused: nothing to free
    EXPECT_EQ(importAndFree().second, (std::vector<int>{3, 0, 0}));

    // Only a passthrough instance named "default" is taken.
    HostServiceRegistry::remove(V4_0::IMapper::descriptor, "default");
    HostServiceRegistry::add<V4_0::IMapper>(v4, "other");
    v3->freeError = V3_0::Error::BAD_VALUE;
    const std::string noV4 = "3 GrallocMapper: get IMapperV4 fail, try to get IMapperV3";
    EXPECT_EQ(importAndFree(), Result({noV4, "3 GrallocMapper: IMapperV3 enable",
                                       "0 freeBuffer: free Buffer fail : (3)"}, {3, 2, 0}));
    HostServiceRegistry::add<V4_0::IMapper>(v4, "default", Transport::REMOTE);
    HostServiceRegistry::add<V3_0::IMapper>(v3, "default", Transport::REMOTE);
    EXPECT_EQ(importAndFree(), Result({noV4, "3 GrallocMapper: get IMapperV3 fail, try to get IMapperV2"},
                                      {3, 2, 2})); // version 2 is taken without a word

    // Without any, every call does nothing; the version lines are built from level 3 only.
    HostServiceRegistry::add<V2_0::IMapper>(v2, "default", Transport::REMOTE);
    for (uint32_t level : {2u, 0u}) {
        g_logLv = level;
        EXPECT_EQ(importAndFree(), Result({"0 GrallocMapper: get IMapperV2 fail!"}, {3, 2, 2})) << level;
    }
    HostServiceRegistry::reset();
}

TEST(GrallocMapper, FailedTransactionsKeepTheirResultsWithoutAborting)
{
    HostServiceRegistry::clear();
    sp<FakeMapper<V4_0::IMapper, V4_0::Error>> v4 = new FakeMapper<V4_0::IMapper, V4_0::Error>;
    HostServiceRegistry::add<V4_0::IMapper>(v4);
    GrallocMapper mapper;
    v4->deadTransport = true;
    tamo::host::LogCapture capture;
    // An import whose callback never ran counts as done, silently, and
    // leaves the handle as it was; a free that never reached the mapper fails.
    auto* const untouched = reinterpret_cast<native_handle const*>(&capture);
    native_handle const* out = untouched;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, untouched);
    mapper.freeBuffer(out);
    EXPECT_EQ(lines(capture), Lines({"0 freeBuffer: free Buffer fail : (-1)"}));
    EXPECT_EQ(v4->calls, 0);
    HostServiceRegistry::reset();
}

// What a device does to code that ignores a failed transaction.
TEST(GrallocMapperDeathTest, FailedReturnsAbortWhenReadOrLeftUnchecked)
{
    auto failed = [] { return Return<V4_0::Error>(Status::fromStatusT(android::DEAD_OBJECT)); };
    EXPECT_DEATH((void)static_cast<V4_0::Error>(failed()), "retrieve value from failed HIDL call");
    EXPECT_DEATH(failed(), "Failed HIDL return status not checked");
    EXPECT_DEATH(Return<void>(Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED)), "not checked");
    EXPECT_FALSE(failed().isOk()); // asked: goes away quietly
    Return<V4_0::Error> moved = failed();
    Return<V4_0::Error> taker = std::move(moved); // only the last holder must ask
    EXPECT_EQ(taker.withDefault(V4_0::Error::NO_RESOURCES), V4_0::Error::NO_RESOURCES);
}

} // namespace

#include <tamo/GrallocMapper.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>
#include <hidl/HostServiceRegistry.h>

using namespace tamo;
using namespace android::hardware;
using namespace android::hardware::graphics::mapper;
using android::sp;
using namespace android::hardware::host;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;

namespace {

// Answers with set errors and counts the calls that reach it.
template <typename IMapper, typename Error>
struct FakeMapper : IMapper {
    Error importError = Error::NONE, freeError = Error::NONE;
    int calls = 0;
    char token = 0;

    Return<void> importBuffer(const hidl_handle&, typename IMapper::importBuffer_cb cb) override
    {
        calls++;
        cb(importError, &token);
        return {};
    }
    Return<Error> freeBuffer(void* buffer) override
    {
        calls++;
        return buffer == &token ? freeError : Error::BAD_BUFFER;
    }
};

// Lines logged ("function:level: message") and calls that reached versions 4, 3 and 2.
using Result = std::pair<Lines, std::vector<int>>;

class GrallocMapperTest : public testing::Test {
protected:
    void SetUp() override { HostServiceRegistry::clear(), g_logLv = 3; }
    void TearDown() override { HostServiceRegistry::reset(), g_logLv = savedLevel; }

    // Makes a mapper, imports a buffer and frees what was imported.
    Result importAndFree()
    {
        LogCapture capture;
        GrallocMapper mapper;
        native_handle const* out = nullptr;
        if (mapper.importBuffer(hidl_handle(), out))
            mapper.freeBuffer(out);
        Result result{{}, {v4->calls, v3->calls, v2->calls}};
        for (const auto& r : capture.records())
            result.first.push_back(r.function + ":" + std::to_string(r.level) + ": " + r.message);
        return result;
    }

    sp<FakeMapper<V4_0::IMapper, V4_0::Error>> v4 = new FakeMapper<V4_0::IMapper, V4_0::Error>;
    sp<FakeMapper<V3_0::IMapper, V3_0::Error>> v3 = new FakeMapper<V3_0::IMapper, V3_0::Error>;
    sp<FakeMapper<V2_0::IMapper, V2_0::Error>> v2 = new FakeMapper<V2_0::IMapper, V2_0::Error>;
    uint32_t savedLevel = g_logLv;
};

TEST_F(GrallocMapperTest, NewestPassthroughVersionWins)
{
    HostServiceRegistry::add<V4_0::IMapper>(v4);
    HostServiceRegistry::add<V3_0::IMapper>(v3);
    EXPECT_EQ(importAndFree(), Result({"GrallocMapper:3: IMapperV4 enable"}, {2, 0, 0}));
    v4->importError = V4_0::Error::BAD_BUFFER; // refused: nothing to free
    EXPECT_EQ(importAndFree().second, (std::vector<int>{3, 0, 0}));
}

TEST_F(GrallocMapperTest, FallsBackToThreeThenTwoRefusingRemoteServices)
{
    HostServiceRegistry::add<V3_0::IMapper>(v3);
    HostServiceRegistry::add<V2_0::IMapper>(v2);
    v3->freeError = V3_0::Error::BAD_VALUE;
    const Lines noV4 = {"GrallocMapper:3: get IMapperV4 fail, try to get IMapperV3"};
    EXPECT_EQ(importAndFree(), Result({noV4[0], "GrallocMapper:3: IMapperV3 enable",
                                       "freeBuffer:0: free Buffer fail : (3)"}, {0, 2, 0}));

    // Binderised services, or instances not named "default", are not taken.
    HostServiceRegistry::add<V4_0::IMapper>(v4, "default", Transport::REMOTE);
    HostServiceRegistry::add<V4_0::IMapper>(v4, "other");
    HostServiceRegistry::add<V3_0::IMapper>(v3, "default", Transport::REMOTE);
    EXPECT_EQ(importAndFree(), Result({noV4[0], "GrallocMapper:3: get IMapperV3 fail, try to get IMapperV2"},
                                      {0, 2, 2})); // version 2 is taken without a word
}

TEST_F(GrallocMapperTest, WithoutMapperEveryCallDoesNothing)
{
    HostServiceRegistry::add<V2_0::IMapper>(v2, "default", Transport::REMOTE);
    g_logLv = 2; // the version lines are built from level 3 only
    EXPECT_EQ(importAndFree(), Result({"GrallocMapper:0: get IMapperV2 fail!"}, {0, 0, 0}));
    g_logLv = 0;
    EXPECT_EQ(importAndFree(), Result({"GrallocMapper:0: get IMapperV2 fail!"}, {0, 0, 0}));
}

} // namespace

#include <tamo/GrallocMapper.h>
#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>
#include <hidl/HostServiceRegistry.h>

#include <cstdint>

using namespace tamo;
using android::sp;
using android::hardware::hidl_handle;
using android::hardware::Return;
using android::hardware::Void;
using android::hardware::host::HostServiceRegistry;
using android::hardware::host::Transport;
using tamo::host::LogCapture;
namespace V2_0 = android::hardware::graphics::mapper::V2_0;
namespace V3_0 = android::hardware::graphics::mapper::V3_0;
namespace V4_0 = android::hardware::graphics::mapper::V4_0;

namespace {

// Answers with fixed errors and counts the calls that reach it.
template <typename IMapper, typename Error>
struct FakeMapper : IMapper {
    Error importError = Error::NONE;
    Error freeError = Error::NONE;
    bool callBack = true;
    int imports = 0;
    void* freed = nullptr;
    char token = 0;

    Return<void> importBuffer(const hidl_handle&, typename IMapper::importBuffer_cb cb) override
    {
        imports++;
        if (callBack)
            cb(importError, importError == Error::NONE ? &token : nullptr);
        return Void();
    }
    Return<Error> freeBuffer(void* buffer) override
    {
        freed = buffer;
        return freeError;
    }
};
using Fake2 = FakeMapper<V2_0::IMapper, V2_0::Error>;
using Fake3 = FakeMapper<V3_0::IMapper, V3_0::Error>;
using Fake4 = FakeMapper<V4_0::IMapper, V4_0::Error>;

class GrallocMapperTest : public testing::Test {
protected:
    void SetUp() override { HostServiceRegistry::clear(); }
    void TearDown() override
    {
        HostServiceRegistry::reset();
        g_logLv = savedLevel;
    }

    uint32_t savedLevel = g_logLv;
};

std::vector<std::string> messages(const LogCapture& capture)
{
    std::vector<std::string> out;
    for (const auto& r : capture.records())
        out.push_back(r.message);
    return out;
}

TEST_F(GrallocMapperTest, TakesVersionThreeWhenFourIsMissing)
{
    sp<Fake3> fake = new Fake3;
    sp<Fake2> older = new Fake2;
    HostServiceRegistry::add<V3_0::IMapper>(fake);
    HostServiceRegistry::add<V2_0::IMapper>(older);
    g_logLv = 3;
    LogCapture capture;
    GrallocMapper mapper;
    EXPECT_EQ(messages(capture), (std::vector<std::string>{
                                         "get IMapperV4 fail, try to get IMapperV3",
                                         "IMapperV3 enable"}));
    for (const auto& r : capture.records()) {
        EXPECT_EQ(r.level, 3u);
        EXPECT_EQ(r.function, "GrallocMapper");
    }

    native_handle const* out = nullptr;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, reinterpret_cast<native_handle const*>(&fake->token));
    EXPECT_EQ(fake->imports, 1);
    EXPECT_EQ(older->imports, 0);

    capture.clear();
    fake->freeError = V3_0::Error::BAD_VALUE;
    mapper.freeBuffer(out);
    EXPECT_EQ(fake->freed, &fake->token);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].format, "free Buffer fail : (%d)");
    EXPECT_EQ(r[0].message, "free Buffer fail : (3)");
    EXPECT_EQ(r[0].function, "freeBuffer");
    EXPECT_EQ(r[0].level, 0u);
}

TEST_F(GrallocMapperTest, RefusesRemoteServicesAndOtherInstances)
{
    sp<Fake4> remote4 = new Fake4;
    sp<Fake4> other4 = new Fake4;
    sp<Fake3> remote3 = new Fake3;
    sp<Fake2> local2 = new Fake2;
    HostServiceRegistry::add<V4_0::IMapper>(remote4, "default", Transport::REMOTE);
    HostServiceRegistry::add<V4_0::IMapper>(other4, "other");
    HostServiceRegistry::add<V3_0::IMapper>(remote3, "default", Transport::REMOTE);
    HostServiceRegistry::add<V2_0::IMapper>(local2);
    g_logLv = 3;
    LogCapture capture;
    GrallocMapper mapper;
    // Version 2 is taken without a word.
    EXPECT_EQ(messages(capture), (std::vector<std::string>{
                                         "get IMapperV4 fail, try to get IMapperV3",
                                         "get IMapperV3 fail, try to get IMapperV2"}));
    native_handle const* out = nullptr;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(local2->imports, 1);
    EXPECT_EQ(remote4->imports + other4->imports + remote3->imports, 0);
}

TEST_F(GrallocMapperTest, WithoutMapperEveryCallDoesNothing)
{
    HostServiceRegistry::add<V2_0::IMapper>(new Fake2, "default", Transport::REMOTE);
    g_logLv = 2;
    LogCapture capture;
    GrallocMapper mapper;
    // The version lines are built only from level 3 on.
    EXPECT_EQ(messages(capture), std::vector<std::string>{"get IMapperV2 fail!"});
    EXPECT_EQ(capture.records()[0].level, 0u);

    g_logLv = 0;
    capture.clear();
    GrallocMapper quiet;
    EXPECT_EQ(messages(capture), std::vector<std::string>{"get IMapperV2 fail!"});

    capture.clear();
    auto sentinel = reinterpret_cast<native_handle const*>(&capture);
    native_handle const* out = sentinel;
    EXPECT_FALSE(quiet.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, sentinel);
    quiet.freeBuffer(sentinel);
    EXPECT_TRUE(capture.records().empty());
}

TEST_F(GrallocMapperTest, NewestVersionWinsAndImportTrustsTheCallbackOnly)
{
    sp<Fake4> fake = new Fake4;
    sp<Fake3> fake3 = new Fake3;
    HostServiceRegistry::add<V4_0::IMapper>(fake);
    HostServiceRegistry::add<V3_0::IMapper>(fake3);
    HostServiceRegistry::add<V2_0::IMapper>(new Fake2);
    g_logLv = 3;
    LogCapture capture;
    GrallocMapper mapper;
    EXPECT_EQ(messages(capture), std::vector<std::string>{"IMapperV4 enable"});
    auto sentinel = reinterpret_cast<native_handle const*>(&fake);
    native_handle const* out = sentinel;
    fake->importError = V4_0::Error::BAD_BUFFER;
    EXPECT_FALSE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, sentinel);
    // No callback, no error: counted as imported, out untouched.
    fake->callBack = false;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, sentinel);
    EXPECT_EQ(fake->imports, 2);
    EXPECT_EQ(fake3->imports, 0);
}

TEST_F(GrallocMapperTest, SingletonImportsRealBuffersThroughTheHostMapper)
{
    HostServiceRegistry::reset();
    g_logLv = 3;
    LogCapture capture;
    IGrallocMapper& mapper = IGrallocMapper::getInstance();
    EXPECT_EQ(&mapper, &IGrallocMapper::getInstance());

    // A buffer from elsewhere: imported, wrapped, mapped, freed.
    auto source = ImageBufferBuilder().setImageFormat(0x20203859).setSize(16, 4).build();
    ASSERT_TRUE(source->lock("fill"));
    static_cast<uint8_t*>(source->getVa(0))[5] = 77;
    source->unlock("fill");
    native_handle const* imported = nullptr;
    ASSERT_TRUE(mapper.importBuffer(hidl_handle(*source->getBufferHandle()), imported));
    ASSERT_NE(imported, nullptr);
    EXPECT_NE(imported, *source->getBufferHandle());

    auto wrapper = ImageBufferBuilder().setImageFormat(0x20203859).setSize(16, 4)
                           .setBufferHandle(&imported).build();
    ASSERT_TRUE(wrapper->lock("read"));
    EXPECT_EQ(static_cast<uint8_t*>(wrapper->getVa(0))[5], 77);
    wrapper->unlock("read");

    capture.clear();
    mapper.freeBuffer(imported);
    EXPECT_TRUE(capture.records().empty());
    mapper.freeBuffer(imported);  // no longer known to the mapper
    EXPECT_TRUE(capture.hasMessage("free Buffer fail : (2)"));
}

} // namespace

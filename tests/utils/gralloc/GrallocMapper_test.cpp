#include <tamo/GrallocMapper.h>
#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>
#include <hidl/HostServiceRegistry.h>

using namespace tamo;
using android::sp;
using android::hardware::hidl_handle;
using android::hardware::Return;
using android::hardware::host::HostServiceRegistry;
using android::hardware::host::Transport;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;
namespace V2_0 = android::hardware::graphics::mapper::V2_0;
namespace V3_0 = android::hardware::graphics::mapper::V3_0;
namespace V4_0 = android::hardware::graphics::mapper::V4_0;

namespace {

// Answers with set errors and counts the imports that reach it.
template <typename IMapper, typename Error>
struct FakeMapper : IMapper {
    Error importError = Error::NONE, freeError = Error::NONE;
    bool callBack = true;
    int imports = 0;
    char token = 0;

    Return<void> importBuffer(const hidl_handle&, typename IMapper::importBuffer_cb cb) override
    {
        imports++;
        if (callBack)
            cb(importError, importError == Error::NONE ? &token : nullptr);
        return {};
    }
    Return<Error> freeBuffer(void* buffer) override
    {
        return buffer == &token ? freeError : Error::BAD_BUFFER;
    }
};
using Fake2 = FakeMapper<V2_0::IMapper, V2_0::Error>;
using Fake3 = FakeMapper<V3_0::IMapper, V3_0::Error>;
using Fake4 = FakeMapper<V4_0::IMapper, V4_0::Error>;

Lines lines(const LogCapture& capture)
{
    Lines out;
    for (const auto& r : capture.records())
        out.push_back(r.function + ":" + std::to_string(r.level) + ": " + r.message);
    return out;
}

class GrallocMapperTest : public testing::Test {
protected:
    void SetUp() override
    {
        HostServiceRegistry::clear();
        g_logLv = 3;
    }
    void TearDown() override
    {
        HostServiceRegistry::reset();
        g_logLv = savedLevel;
    }
    uint32_t savedLevel = g_logLv;
    native_handle const* out = nullptr;
};

TEST_F(GrallocMapperTest, NewestPassthroughVersionWins)
{
    sp<Fake4> fake4 = new Fake4;
    sp<Fake3> fake3 = new Fake3;
    HostServiceRegistry::add<V4_0::IMapper>(fake4);
    HostServiceRegistry::add<V3_0::IMapper>(fake3);
    HostServiceRegistry::add<V2_0::IMapper>(new Fake2);
    LogCapture capture;
    GrallocMapper mapper;
    EXPECT_EQ(lines(capture), Lines{"GrallocMapper:3: IMapperV4 enable"});
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(fake4->imports, 1);
    EXPECT_EQ(fake3->imports, 0);

    // Only the callback's error counts: no callback, no error, out untouched.
    fake4->callBack = false;
    out = nullptr;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, nullptr);
    fake4->callBack = true;
    fake4->importError = V4_0::Error::BAD_BUFFER;
    EXPECT_FALSE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, nullptr);
}

TEST_F(GrallocMapperTest, TakesVersionThreeWhenFourIsMissing)
{
    sp<Fake3> fake = new Fake3;
    HostServiceRegistry::add<V3_0::IMapper>(fake);
    HostServiceRegistry::add<V2_0::IMapper>(new Fake2);
    LogCapture capture;
    GrallocMapper mapper;
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, reinterpret_cast<native_handle const*>(&fake->token));
    fake->freeError = V3_0::Error::BAD_VALUE;
    mapper.freeBuffer(out);
    EXPECT_EQ(lines(capture), (Lines{"GrallocMapper:3: get IMapperV4 fail, try to get IMapperV3",
                                     "GrallocMapper:3: IMapperV3 enable",
                                     "freeBuffer:0: free Buffer fail : (3)"}));
}

TEST_F(GrallocMapperTest, RefusesRemoteServicesAndOtherInstances)
{
    sp<Fake4> remote4 = new Fake4, other4 = new Fake4;
    sp<Fake3> remote3 = new Fake3;
    sp<Fake2> local2 = new Fake2;
    HostServiceRegistry::add<V4_0::IMapper>(remote4, "default", Transport::REMOTE);
    HostServiceRegistry::add<V4_0::IMapper>(other4, "other");
    HostServiceRegistry::add<V3_0::IMapper>(remote3, "default", Transport::REMOTE);
    HostServiceRegistry::add<V2_0::IMapper>(local2);
    LogCapture capture;
    GrallocMapper mapper;
    // Version 2 is taken without a word.
    EXPECT_EQ(lines(capture), (Lines{"GrallocMapper:3: get IMapperV4 fail, try to get IMapperV3",
                                     "GrallocMapper:3: get IMapperV3 fail, try to get IMapperV2"}));
    EXPECT_TRUE(mapper.importBuffer(hidl_handle(), out));
    EXPECT_EQ(local2->imports, 1);
    EXPECT_EQ(remote4->imports + other4->imports + remote3->imports, 0);
}

TEST_F(GrallocMapperTest, WithoutMapperEveryCallDoesNothing)
{
    HostServiceRegistry::add<V2_0::IMapper>(new Fake2, "default", Transport::REMOTE);
    g_logLv = 2;  // the version lines are built from level 3 only
    LogCapture capture;
    GrallocMapper mapper;
    g_logLv = 0;
    GrallocMapper quiet;
    EXPECT_EQ(lines(capture), Lines(2, "GrallocMapper:0: get IMapperV2 fail!"));

    capture.clear();
    EXPECT_FALSE(quiet.importBuffer(hidl_handle(), out));
    EXPECT_EQ(out, nullptr);
    quiet.freeBuffer(reinterpret_cast<native_handle const*>(&capture));
    EXPECT_TRUE(capture.records().empty());
}

TEST_F(GrallocMapperTest, SingletonImportsRealBuffersThroughTheHostMapper)
{
    HostServiceRegistry::reset();
    IGrallocMapper& mapper = IGrallocMapper::getInstance();
    EXPECT_EQ(&mapper, &IGrallocMapper::getInstance());

    if (TAMO_GRALLOC_PLACEHOLDER)
        GTEST_SKIP() << "buffers have no memory to import";
    // A buffer from elsewhere: imported (as a clone), wrapped, mapped, freed.
    auto source = ImageBufferBuilder().setImageFormat(0x20203859).setSize(16, 4).build();
    ASSERT_TRUE(source->lock("fill"));
    static_cast<uint8_t*>(source->getVa(0))[5] = 77;
    source->unlock("fill");
    ASSERT_TRUE(mapper.importBuffer(hidl_handle(*source->getBufferHandle()), out));
    ASSERT_TRUE(out != nullptr && out != *source->getBufferHandle());
    auto wrapper = ImageBufferBuilder().setImageFormat(0x20203859).setSize(16, 4)
                           .setBufferHandle(&out).build();
    ASSERT_TRUE(wrapper->lock("read"));
    EXPECT_EQ(static_cast<uint8_t*>(wrapper->getVa(0))[5], 77);
    wrapper->unlock("read");

    LogCapture capture;
    mapper.freeBuffer(out);
    EXPECT_TRUE(capture.records().empty());
    mapper.freeBuffer(out);  // no longer known to the mapper
    EXPECT_EQ(lines(capture), Lines{"freeBuffer:0: free Buffer fail : (2)"});
}

} // namespace

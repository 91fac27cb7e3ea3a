#include <android/hardware/graphics/mapper/2.0/IMapper.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <hidl/HidlSupport.h>
#include <hidl/HostServiceRegistry.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

using android::sp;
using android::hardware::hidl_handle;
using android::hardware::Return;
using android::hardware::Void;
using android::hardware::host::HostServiceRegistry;
using android::hardware::host::Transport;
namespace V2_0 = android::hardware::graphics::mapper::V2_0;
namespace V4_0 = android::hardware::graphics::mapper::V4_0;

namespace {

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

native_handle_t* pipeHandle()
{
    int fds[2];
    if (pipe(fds) != 0)
        return nullptr;
    close(fds[1]);
    native_handle_t* h = native_handle_create(1, 1);
    h->data[0] = fds[0];
    h->data[1] = 1234;
    return h;
}

TEST(HidlHandle, CopiesOwnClonesAndPointersDoNot)
{
    native_handle_t* raw = pipeHandle();
    int cloneFd;
    {
        hidl_handle view(raw);
        EXPECT_EQ(view.getNativeHandle(), raw);
        hidl_handle copy(view);
        ASSERT_NE(copy.getNativeHandle(), raw);
        cloneFd = copy->data[0];
        EXPECT_NE(cloneFd, raw->data[0]);
        EXPECT_EQ(copy->data[1], 1234);
        hidl_handle moved(std::move(copy));
        EXPECT_EQ(copy.getNativeHandle(), nullptr);
        EXPECT_TRUE(isOpen(cloneFd));
    }
    EXPECT_FALSE(isOpen(cloneFd));
    EXPECT_TRUE(isOpen(raw->data[0]));
    native_handle_close(raw);
    native_handle_delete(raw);
}

struct Mapper2 : V2_0::IMapper {
    int imports = 0;
    Return<void> importBuffer(const hidl_handle&, importBuffer_cb cb) override
    {
        imports++;
        cb(V2_0::Error::NONE, nullptr);
        return Void();
    }
    Return<V2_0::Error> freeBuffer(void*) override { return V2_0::Error::UNSUPPORTED; }
};

TEST(HostServiceRegistry, RegistersClearsAndResets)
{
    sp<V4_0::IMapper> software = V4_0::IMapper::getService();
    ASSERT_NE(software, nullptr);
    EXPECT_FALSE(software->isRemote());
    EXPECT_EQ(V2_0::IMapper::getService(), nullptr);

    HostServiceRegistry::clear();
    EXPECT_EQ(V4_0::IMapper::getService(), nullptr);

    sp<Mapper2> impl = new Mapper2;
    HostServiceRegistry::add<V2_0::IMapper>(impl, "cam", Transport::REMOTE);
    EXPECT_EQ(V2_0::IMapper::getService(), nullptr);
    EXPECT_EQ(V2_0::IMapper::getService("cam", true), nullptr);  // no stub of a remote one
    sp<V2_0::IMapper> proxy = V2_0::IMapper::getService("cam");
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->isRemote());
    proxy->importBuffer(hidl_handle(), [](V2_0::Error, void*) {});
    EXPECT_EQ(impl->imports, 1);
    EXPECT_EQ(static_cast<V2_0::Error>(proxy->freeBuffer(nullptr)), V2_0::Error::UNSUPPORTED);

    HostServiceRegistry::reset();
    EXPECT_EQ(V2_0::IMapper::getService("cam"), nullptr);
    sp<V4_0::IMapper> fresh = V4_0::IMapper::getService();
    ASSERT_NE(fresh, nullptr);
    EXPECT_NE(fresh, software);
}

TEST(SoftwareMapper, ImportsByCloningAndFreesOnlyItsOwn)
{
    sp<V4_0::IMapper> mapper = V4_0::IMapper::getService();
    native_handle_t* raw = pipeHandle();
    V4_0::Error error = V4_0::Error::UNSUPPORTED;
    void* imported = nullptr;
    auto cb = [&](V4_0::Error e, void* b) {
        error = e;
        imported = b;
    };
    EXPECT_TRUE(mapper->importBuffer(hidl_handle(raw), cb).isOk());
    ASSERT_EQ(error, V4_0::Error::NONE);
    auto* clone = static_cast<native_handle_t*>(imported);
    ASSERT_NE(clone, raw);
    int cloneFd = clone->data[0];
    EXPECT_EQ(clone->data[1], 1234);

    mapper->importBuffer(hidl_handle(), cb);
    EXPECT_EQ(error, V4_0::Error::BAD_BUFFER);
    EXPECT_EQ(static_cast<V4_0::Error>(mapper->freeBuffer(raw)), V4_0::Error::BAD_BUFFER);
    EXPECT_EQ(static_cast<V4_0::Error>(mapper->freeBuffer(clone)), V4_0::Error::NONE);
    EXPECT_FALSE(isOpen(cloneFd));
    EXPECT_TRUE(isOpen(raw->data[0]));
    native_handle_close(raw);
    native_handle_delete(raw);
}

} // namespace

// The host graphics mapper of each version, used as a HAL uses it: import
// a buffer that libui allocated and wrote, lock it, read, unlock, free.
#include <android/hardware/graphics/mapper/2.0/IMapper.h>
#include <android/hardware/graphics/mapper/3.0/IMapper.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <gralloctypes/Gralloc4.h>
#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include "HostMapperVersion.h"

using namespace android;
using namespace android::hardware;
using namespace android::hardware::graphics::mapper;
using testsupport::HostMapperVersion;

namespace {

constexpr uint32_t kWidth = 100, kHeight = 61;
constexpr uint64_t kRead = 0x3, kWrite = 0x30;

struct Format {
    int32_t code;
    bool ycbcr;
};
// NV16, NV21, YCbCr_420_888, YV12, YUY2, RAW16, RAW10, RAW12, Y8, Y16, BLOB.
constexpr Format kFormats[] = {{0x10, true}, {0x11, true}, {0x23, true}, {0x32315659, true},
                               {0x14, true}, {0x20, false}, {0x25, false}, {0x26, false},
                               {0x20203859, false}, {0x20363159, false}, {0x21, false}};

// What libui wrote at the start of the buffer, and where its chroma lies.
struct Written {
    buffer_handle_t handle = nullptr;
    std::vector<uint8_t> head;
    ptrdiff_t cb = 0, cr = 0;
    int64_t stride = 0; // bytes per row of the first plane
};

Written allocateAndWrite(const Format& f)
{
    Written w;
    uint32_t stride = 0;
    const uint32_t height = f.code == 0x21 ? 1 : kHeight;
    EXPECT_EQ(GraphicBufferAllocator::get().allocate(kWidth, height, f.code, 1, kRead | kWrite, &w.handle,
                                                     &stride, "mapper_test"), NO_ERROR);
    void* va = nullptr;
    int32_t bytesPerPixel = 0, bytesPerStride = 0;
    EXPECT_EQ(GraphicBufferMapper::get().lock(w.handle, kWrite, Rect(kWidth, height), &va, &bytesPerPixel,
                                              &bytesPerStride), NO_ERROR);
    w.stride = bytesPerStride;
    for (uint8_t i = 0; i < 64; i++)
        w.head.push_back(static_cast<uint8_t>(i * 37 + f.code));
    std::memcpy(va, w.head.data(), w.head.size());
    if (f.ycbcr) {
        android_ycbcr ycbcr{};
        EXPECT_EQ(GraphicBufferMapper::get().lockYCbCr(w.handle, kRead, Rect(kWidth, height), &ycbcr), NO_ERROR);
        w.cb = static_cast<uint8_t*>(ycbcr.cb) - static_cast<uint8_t*>(ycbcr.y);
        w.cr = static_cast<uint8_t*>(ycbcr.cr) - static_cast<uint8_t*>(ycbcr.y);
        w.stride = static_cast<int64_t>(ycbcr.ystride);
        GraphicBufferMapper::get().unlock(w.handle);
    }
    GraphicBufferMapper::get().unlock(w.handle);
    return w;
}

// Imports, locks (lockYCbCr where the version has it and the format chroma),
// reads what libui wrote, unlocks and frees, checking every call's error.
template <typename IMapper, typename Error>
void readBack(const Format& f, const Written& w)
{
    sp<IMapper> mapper = IMapper::getService();
    ASSERT_NE(mapper, nullptr);
    void* buffer = nullptr;
    ASSERT_TRUE(mapper->importBuffer(hidl_handle(w.handle), [&](Error e, void* b) {
        EXPECT_EQ(e, Error::NONE);
        buffer = b;
    }).isOk());
    ASSERT_NE(buffer, nullptr);

    const typename IMapper::Rect region{0, 0, static_cast<int32_t>(kWidth), f.code == 0x21 ? 1 : 2};
    const uint8_t* data = nullptr;
    constexpr bool hasYCbCr = !std::is_same_v<IMapper, V4_0::IMapper>;
    if constexpr (hasYCbCr) {
        if (f.ycbcr) {
            EXPECT_TRUE(mapper->lockYCbCr(buffer, kRead, region, hidl_handle(), [&](Error e, const auto& layout) {
                EXPECT_EQ(e, Error::NONE);
                data = static_cast<const uint8_t*>(layout.y);
                EXPECT_EQ(static_cast<const uint8_t*>(layout.cb) - data, w.cb);
                EXPECT_EQ(static_cast<const uint8_t*>(layout.cr) - data, w.cr);
            }).isOk());
        }
    }
    if (data == nullptr) {
        EXPECT_TRUE(mapper->lock(buffer, kRead, region, hidl_handle(), [&](Error e, void* d, auto... perPixelAndRow) {
            EXPECT_EQ(e, Error::NONE);
            data = static_cast<const uint8_t*>(d);
            static_assert(sizeof...(perPixelAndRow) == (std::is_same_v<IMapper, V3_0::IMapper> ? 2 : 0));
        }).isOk());
    }
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(data, data + w.head.size()), w.head);
    if constexpr (!hasYCbCr) {
        // 4.0 tells where the planes lie through the buffer's metadata.
        hidl_vec<uint8_t> encoded;
        EXPECT_TRUE(mapper->get(buffer, gralloc4::MetadataType_PlaneLayouts, [&](Error e, const hidl_vec<uint8_t>& bytes) {
            EXPECT_EQ(e, Error::NONE);
            encoded = bytes;
        }).isOk());
        std::vector<aidl::android::hardware::graphics::common::PlaneLayout> planes;
        ASSERT_EQ(gralloc4::decodePlaneLayouts(encoded, &planes), NO_ERROR);
        ASSERT_FALSE(planes.empty());
        EXPECT_EQ(std::make_pair(planes[0].offsetInBytes, planes[0].strideInBytes), std::make_pair(int64_t{0}, w.stride));
        ptrdiff_t cb = 0, cr = 0;
        for (const auto& plane : planes)
            for (const auto& component : plane.components) {
                if (component.type == gralloc4::PlaneLayoutComponentType_CB)
                    cb = plane.offsetInBytes + component.offsetInBits / 8;
                if (component.type == gralloc4::PlaneLayoutComponentType_CR)
                    cr = plane.offsetInBytes + component.offsetInBits / 8;
            }
        EXPECT_EQ(std::make_pair(cb, cr), std::make_pair(w.cb, w.cr));
        // What is not a whole encoding of plane layouts is refused.
        hidl_vec<uint8_t> cut(encoded.begin(), encoded.end() - 1);
        hidl_vec<uint8_t> other = encoded;
        other[8] = 'X'; // the metadata type's name
        EXPECT_EQ(std::make_pair(gralloc4::decodePlaneLayouts(cut, &planes), gralloc4::decodePlaneLayouts(other, &planes)),
                  std::make_pair(status_t{BAD_VALUE}, status_t{BAD_VALUE}));
        EXPECT_TRUE(mapper->get(buffer, {"vendor.metadata", 1}, [](Error e, const hidl_vec<uint8_t>& bytes) {
            EXPECT_TRUE(e == Error::UNSUPPORTED && bytes.size() == 0);
        }).isOk());
    }
    EXPECT_TRUE(mapper->unlock(buffer, [](Error e, const hidl_handle& fence) {
        EXPECT_TRUE(e == Error::NONE && fence.getNativeHandle() == nullptr);
    }).isOk());
    // Nothing is locked any more; then the handle goes.
    EXPECT_TRUE(mapper->unlock(buffer, [](Error e, const hidl_handle&) { EXPECT_EQ(e, Error::BAD_BUFFER); }).isOk());
    EXPECT_EQ(static_cast<Error>(mapper->freeBuffer(buffer)), Error::NONE);
}

TEST(HostMapper, EveryVersionLocksEveryFormatForAHal)
{
    for (int version : {2, 3, 4}) {
        HostMapperVersion offered(version);
        // Only the version offered is there.
        EXPECT_EQ(V2_0::IMapper::getService() != nullptr, version == 2);
        EXPECT_EQ(V3_0::IMapper::getService() != nullptr, version == 3);
        EXPECT_EQ(V4_0::IMapper::getService() != nullptr, version == 4);
        for (const Format& f : kFormats) {
            SCOPED_TRACE(testing::Message() << "mapper " << version << ", format 0x" << std::hex << f.code);
            Written w = allocateAndWrite(f);
            if (version == 2)
                readBack<V2_0::IMapper, V2_0::Error>(f, w);
            else if (version == 3)
                readBack<V3_0::IMapper, V3_0::Error>(f, w);
            else
                readBack<V4_0::IMapper, V4_0::Error>(f, w);
            EXPECT_EQ(GraphicBufferAllocator::get().free(w.handle), NO_ERROR);
        }
    }
}

// What libui's lock() tells of bytes per pixel and per row over each version.
TEST(HostMapper, LibuiReportsStridesAsEachVersionGivesThem)
{
    using Answer = std::pair<int32_t, int32_t>;
    auto answer = [](int32_t format) {
        buffer_handle_t handle = nullptr;
        uint32_t stride = 0;
        EXPECT_EQ(GraphicBufferAllocator::get().allocate(kWidth, kHeight, format, 1, kRead, &handle, &stride, ""), NO_ERROR);
        void* va = nullptr;
        Answer a{0, 0};
        EXPECT_EQ(GraphicBufferMapper::get().lock(handle, kRead, Rect(kWidth, kHeight), &va, &a.first, &a.second), NO_ERROR);
        GraphicBufferMapper::get().unlock(handle);
        GraphicBufferAllocator::get().free(handle);
        return a;
    };
    const std::vector<Answer> none(3, Answer{-1, -1});
    const std::vector<std::vector<Answer>> expected = {
        none,                                   // 2.x: no stride at all
        {{2, 256}, {-1, 128}, {1, 128}},        // 3.0: the first plane's
        {{2, 256}, {-1, 128}, {-1, -1}},        // 4.0: NV21's planes differ
    };
    for (int version : {2, 3, 4}) {
        HostMapperVersion offered(version);
        EXPECT_EQ(GraphicBufferMapper::get().getMapperVersion(), version - 2);
        EXPECT_EQ((std::vector<Answer>{answer(0x20), answer(0x25), answer(0x11)}), expected[version - 2]) << version;
    }
}

} // namespace

// The host libui: what callers of a gralloc implementation rely on.
#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/HostGralloc.h>

#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <utility>

using namespace android;
using android::host::HostGralloc;

namespace {

constexpr uint32_t kRead = 0x3, kWrite = 0x30;

buffer_handle_t allocate(uint32_t w, uint32_t h, PixelFormat format, uint64_t usage, uint32_t* stride)
{
    buffer_handle_t handle = nullptr;
    EXPECT_EQ(GraphicBufferAllocator::get().allocate(w, h, format, 1, usage, &handle, stride, "ui_test"), NO_ERROR);
    return handle;
}

TEST(HostGralloc, RefusesWhatAGrallocRefuses)
{
    auto& allocator = GraphicBufferAllocator::get();
    auto& mapper = GraphicBufferMapper::get();
    buffer_handle_t untouched = nullptr;
    uint32_t stride = 0;
    EXPECT_EQ(allocator.allocate(8, 8, HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, 1, kRead, &untouched, &stride, "")
                      | allocator.allocate(8, 8, HAL_PIXEL_FORMAT_Y8, 2, kRead, &untouched, &stride, ""), BAD_VALUE);
    EXPECT_EQ(untouched, nullptr);

    // Strides in pixels: RAW16 rows of 64 bytes hold 32; a blob's is its width.
    uint32_t blobStride = 0;
    buffer_handle_t raw = allocate(20, 4, HAL_PIXEL_FORMAT_RAW16, kRead, &stride);
    buffer_handle_t blob = allocate(1000, 1, HAL_PIXEL_FORMAT_BLOB, kRead | kWrite, &blobStride);
    EXPECT_EQ(std::make_pair(stride, blobStride), std::make_pair(32u, 1000u));
    void* va = nullptr;
    android_ycbcr ycbcr{};
    EXPECT_EQ(mapper.lockYCbCr(raw, kRead, Rect(20, 4), &ycbcr), BAD_VALUE); // no chroma
    EXPECT_EQ(mapper.lock(raw, 0x100, Rect(20, 4), &va), BAD_VALUE);         // no CPU bits
    EXPECT_EQ(mapper.lock(raw, kWrite, Rect(20, 4), &va), BAD_VALUE);        // not allocated for writing
    EXPECT_EQ(mapper.lock(raw, kRead, Rect(20, 5), &va), BAD_VALUE);         // beyond the buffer
    EXPECT_EQ(mapper.unlock(raw), BAD_VALUE);                                // nothing locked
    EXPECT_EQ(mapper.lock(raw, kRead, Rect(), &va), BAD_VALUE);              // the default is the invalid rect
    EXPECT_EQ(Rect(uint32_t{3000000000u}, 4u).right, INT32_MAX);             // sizes clamp, not wrap

    // An import is checked against its description and maps the same memory.
    ASSERT_EQ(mapper.lock(blob, kWrite, Rect(1000, 1), &va), NO_ERROR);
    std::memcpy(va, "pixels", 6);
    const size_t mappings = HostGralloc::liveMappings();
    buffer_handle_t imported = nullptr;
    EXPECT_EQ(mapper.importBuffer(blob, 999, 1, 1, HAL_PIXEL_FORMAT_BLOB, kRead, 1000, &imported), BAD_VALUE);
    EXPECT_EQ(HostGralloc::liveMappings(), mappings);
    ASSERT_EQ(mapper.importBuffer(blob, 1000, 1, 1, HAL_PIXEL_FORMAT_BLOB, kRead, 1000, &imported), NO_ERROR);
    void* copy = nullptr;
    ASSERT_EQ(mapper.lock(imported, kRead, Rect(1000, 1), &copy), NO_ERROR);
    EXPECT_TRUE(copy != va && std::memcmp(copy, "pixels", 6) == 0);
    EXPECT_EQ(mapper.unlock(imported) | mapper.unlock(blob) | mapper.freeBuffer(imported), NO_ERROR);
    EXPECT_EQ(mapper.freeBuffer(imported), BAD_VALUE);
    EXPECT_EQ(allocator.free(raw) | allocator.free(blob), NO_ERROR);
}

// Threads allocating, locking and freeing their own buffers at once.
TEST(HostGralloc, ThreadsShareOneTable)
{
    const size_t allocations = HostGralloc::liveAllocations();
    auto work = [] {
        bool ok = true;
        for (uint32_t i = 0, stride = 0; i < 200; i++) {
            buffer_handle_t handle = allocate(64, 2 + i % 8, HAL_PIXEL_FORMAT_YCRCB_420_SP, kRead | kWrite, &stride);
            android_ycbcr ycbcr{};
            ok &= GraphicBufferMapper::get().lockYCbCr(handle, kWrite, Rect(64, 2), &ycbcr) == NO_ERROR;
            static_cast<uint8_t*>(ycbcr.cr)[0] = 1;
            ok &= (GraphicBufferMapper::get().unlock(handle) | GraphicBufferAllocator::get().free(handle)) == NO_ERROR;
        }
        return ok;
    };
    std::future<bool> threads[] = {std::async(std::launch::async, work), std::async(std::launch::async, work),
                                   std::async(std::launch::async, work)};
    for (auto& t : threads)
        EXPECT_TRUE(t.get());
    EXPECT_EQ(HostGralloc::liveAllocations(), allocations);
}

} // namespace

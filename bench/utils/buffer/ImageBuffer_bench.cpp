#include <tamo/ImageBuffer.h>

#include <benchmark/benchmark.h>

using namespace tamo;

namespace {

ImageBufferBuilder nv21(unsigned int width, unsigned int height)
{
    ImageBufferBuilder builder;
    builder.setImageFormat(0x11).setSize(width, height);
    return builder;
}

std::shared_ptr<ImageBufferManager> pool(unsigned int count)
{
    return ImageBufferManagerBuilder()
            .setMinCount(count)
            .setMaxCount(count)
            .setImageBufferBuilder(nv21(1920, 1080))
            .build();
}

// Allocation of a new buffer (and its release when it is dropped).
void BM_BuilderBuildAllocate(benchmark::State& state)
{
    ImageBufferBuilder builder = nv21(static_cast<unsigned int>(state.range(0)),
                                      static_cast<unsigned int>(state.range(1)));
    for (auto _ : state) {
        auto buffer = builder.build();
        benchmark::DoNotOptimize(buffer.get());
    }
}
BENCHMARK(BM_BuilderBuildAllocate)->Args({640, 480})->Args({1920, 1080})->Args({4000, 3000});

void BM_PoolAcquireRelease(benchmark::State& state)
{
    auto p = pool(1);
    for (auto _ : state) {
        auto buffer = p->acquireImageBuffer();
        benchmark::DoNotOptimize(buffer.get());
        p->releaseImageBuffer(std::move(buffer));
    }
}
BENCHMARK(BM_PoolAcquireRelease);

// Two threads on one pool: with two buffers they contend for the lock only,
// with one every acquire waits for the other thread's release.
template <unsigned int Buffers>
void BM_PoolAcquireReleaseContended(benchmark::State& state)
{
    static auto shared = pool(Buffers);
    for (auto _ : state) {
        auto buffer = shared->acquireImageBuffer();
        benchmark::DoNotOptimize(buffer.get());
        shared->releaseImageBuffer(std::move(buffer));
    }
}
BENCHMARK_TEMPLATE(BM_PoolAcquireReleaseContended, 2)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(BM_PoolAcquireReleaseContended, 1)->Threads(2)->UseRealTime();

// One lock and unlock pair. The mapper maps a buffer once, when it is
// allocated, so the pair costs the same whatever the buffer's size; YCbCr
// formats lock through lockYCbCr.
void BM_LockUnlock(benchmark::State& state)
{
    auto buffer = ImageBufferBuilder()
                          .setImageFormat(static_cast<unsigned int>(state.range(0)))
                          .setSize(static_cast<unsigned int>(state.range(1)),
                                   static_cast<unsigned int>(state.range(2)))
                          .build();
    for (auto _ : state) {
        buffer->lock("bench");
        benchmark::DoNotOptimize(buffer->getVa(0));
        buffer->unlock("bench");
    }
}
BENCHMARK(BM_LockUnlock)
        ->ArgNames({"format", "w", "h"})
        ->Args({0x20, 640, 480})
        ->Args({0x20, 4000, 3000})
        ->Args({0x23, 1920, 1080});

void BM_GetFormatString(benchmark::State& state)
{
    unsigned int format = static_cast<unsigned int>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(ImageBufferUtils::getFormatString(format));
}
BENCHMARK(BM_GetFormatString)->Arg(0x11)->Arg(0x23)->Arg(0x32315659);

void BM_GetAllocationWidth(benchmark::State& state)
{
    unsigned int format = static_cast<unsigned int>(state.range(0));
    unsigned int width = 4000;
    for (auto _ : state) {
        benchmark::DoNotOptimize(width);
        benchmark::DoNotOptimize(ImageBufferUtils::getAllocationWidth(format, width, 3000));
    }
}
BENCHMARK(BM_GetAllocationWidth)->Arg(0x11)->Arg(0x21);

} // namespace

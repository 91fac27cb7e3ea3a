#include <tamo/StreamBuffer.h>

#include <benchmark/benchmark.h>

using namespace tamo;

namespace {

// Hands out one prebuilt buffer: the figures are the stream buffer's own cost.
struct Requestor : IBufferRequestor {
    std::shared_ptr<ImageBuffer> buffer;
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo>) override { return buffer; }
};

struct Collector : IBufferCollector {
    int64_t collected = 0;
    void collectBuffer(std::shared_ptr<StreamBuffer>) override { collected++; }
    void collectBufferSet(std::vector<std::shared_ptr<StreamBuffer>> buffers) override
    {
        collected += static_cast<int64_t>(buffers.size());
    }
};

struct Fixture {
    Fixture()
    {
        ImageBufferBuilder image;
        image.setImageFormat(0x11).setSize(64, 48);
        requestor->buffer = image.build();
        info->streamId = 1;
        info->format = 0x11;
    }

    StreamBufferBuilder builder() const
    {
        StreamBufferBuilder b;
        b.setStreamInfo(info).setImageBufferRequestor(requestor).setCollector(collector);
        return b;
    }

    std::shared_ptr<Requestor> requestor = std::make_shared<Requestor>();
    std::shared_ptr<Collector> collector = std::make_shared<Collector>();
    std::shared_ptr<StreamInfo> info = std::make_shared<StreamInfo>();
};

// One buffer of a request, from build to its return.
void BM_StreamBufferRoundTrip(benchmark::State& state)
{
    Fixture f;
    StreamBufferBuilder builder = f.builder();
    for (auto _ : state) {
        auto buffer = builder.setRequestNumber(static_cast<unsigned int>(state.iterations())).build();
        benchmark::DoNotOptimize(buffer->getImageBuffer().get());
        benchmark::DoNotOptimize(StreamBufferUtils::returnStreamBuffer(buffer));
    }
    if (f.collector->collected != state.iterations())
        state.SkipWithError("buffers not collected");
}
BENCHMARK(BM_StreamBufferRoundTrip);

// Four buffers grouped in a set, returned through one member.
void BM_StreamBufferSetRoundTrip(benchmark::State& state)
{
    Fixture f;
    StreamBufferBuilder builder = f.builder();
    std::vector<std::shared_ptr<StreamBuffer>> buffers(4);
    for (auto _ : state) {
        for (auto& buffer : buffers) {
            buffer = builder.build();
            benchmark::DoNotOptimize(buffer->getImageBuffer().get());
        }
        auto set = StreamBufferSetBuilder().setStreamBuffers(buffers).setCollector(f.collector).build();
        benchmark::DoNotOptimize(StreamBufferUtils::returnStreamBuffer(buffers[2]));
    }
    if (f.collector->collected != 4 * state.iterations())
        state.SkipWithError("buffers not collected");
}
BENCHMARK(BM_StreamBufferSetRoundTrip);

} // namespace

#include <tamo/StreamConfiguration.h>

#include <benchmark/benchmark.h>

using namespace tamo;

namespace {

// A typical multi-camera configuration: preview, video, still and a RAW
// stream, two of them bound to physical cameras.
StreamConfigBuilder sixStreams()
{
    StreamConfigBuilder builder;
    builder.setLogicalId(4).setOperationMode(0).setScenario(1);
    const unsigned int formats[] = {0x22, 0x22, 0x21, 0x23, 0x20, 0x23};
    const int cameras[] = {-1, -1, -1, 4, 2, 3};
    for (int i = 0; i < 6; i++) {
        StreamInfo info;
        info.streamId = i;
        info.format = formats[i];
        info.physicalCameraId = cameras[i];
        info.width = 1920;
        info.height = 1080;
        builder.setStreamInfo(info);
    }
    return builder;
}

void BM_StreamConfigBuild(benchmark::State& state)
{
    StreamConfigBuilder builder = sixStreams();
    if (state.range(0) != 0)
        builder.enablePhysicalStream();
    for (auto _ : state) {
        auto config = builder.build();
        benchmark::DoNotOptimize(config->isReprocessStreamConfig());
    }
}
BENCHMARK(BM_StreamConfigBuild)->ArgName("physical")->Arg(0)->Arg(1);

} // namespace

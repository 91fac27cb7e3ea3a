#include <tamo/Metadata.h>
#include <tamo/MetadataPool.h>

#include <TamoLogControl.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

namespace {

// n entries of the first standard tags, 1 to 8 elements each: a mix of
// inline and data-area payloads, like a camera's characteristics.
std::shared_ptr<tamo::Metadata> filled(size_t n)
{
    static const uint8_t zeros[64] = {};
    std::vector<uint32_t> tags;
    for (uint32_t s = 0; s < ANDROID_SECTION_COUNT && tags.size() < n; s++)
        for (uint32_t t = camera_metadata_section_bounds[s][0];
             t < camera_metadata_section_bounds[s][1] && tags.size() < n; t++)
            tags.push_back(t);
    auto meta = tamo::Metadata::create();
    meta->init(static_cast<unsigned int>(n), static_cast<unsigned int>(n * 64));
    for (size_t i = 0; i < tags.size(); i++)
        meta->updateMetaDataByTag(tags[i], zeros, 1 + i % 8);
    return meta;
}

// The road of one capture request: settings in, three partial results merged,
// the result read back, the entry dropped. Threads use sessions of their own.
void BM_PoolRequestRoad(benchmark::State& state)
{
    static tamo::MetadataPool pool;
    static const std::shared_ptr<tamo::Metadata> settings = filled(40);
    static const std::shared_ptr<tamo::Metadata> partial = filled(10);
    const unsigned int session = static_cast<unsigned int>(state.thread_index()) + 1;
    pool.addSessionEntry(session);
    unsigned int request = 0;
    for (auto _ : state) {
        pool.addRequestEntry(session, request, settings);
        for (int i = 0; i < 3; i++)
            pool.updateMetadata(session, request, tamo::MetadataPool::METADATA_TYPE_RESULT, partial);
        benchmark::DoNotOptimize(
            pool.getMetadata(session, request, tamo::MetadataPool::METADATA_TYPE_RESULT));
        pool.removeRequestEntry(session, request);
        request++;
    }
}
BENCHMARK(BM_PoolRequestRoad)->Threads(1)->Threads(2)->UseRealTime();

void BM_Clone120(benchmark::State& state)
{
    const auto src = filled(120);
    for (auto _ : state)
        benchmark::DoNotOptimize(tamo::Metadata::clone(src));
}
BENCHMARK(BM_Clone120);

// The first append sizes an empty object exactly.
void BM_AppendIntoEmpty120(benchmark::State& state)
{
    const auto src = filled(120);
    for (auto _ : state) {
        auto meta = tamo::Metadata::create();
        benchmark::DoNotOptimize(meta->appendMetadata(src));
    }
}
BENCHMARK(BM_AppendIntoEmpty120);

// Appending into a full object reallocates and copies it (timed with the clone).
void BM_CloneAndAppendGrow120(benchmark::State& state)
{
    const auto src = filled(120);
    for (auto _ : state) {
        auto meta = tamo::Metadata::clone(src);
        benchmark::DoNotOptimize(meta->appendMetadata(src));
    }
}
BENCHMARK(BM_CloneAndAppendGrow120);

// Arg: g_logLv. Standard error goes to /dev/null meanwhile, so level 3 pays
// for formatting and the write call but not for a terminal.
void BM_Dump120(benchmark::State& state)
{
    const auto meta = filled(120);
    const uint32_t savedLevel = tamo::g_logLv;
    const int savedStderr = dup(STDERR_FILENO);
    const int devNull = open("/dev/null", O_WRONLY);
    dup2(devNull, STDERR_FILENO);
    tamo::g_logLv = static_cast<uint32_t>(state.range(0));
    for (auto _ : state)
        meta->dump();
    tamo::g_logLv = savedLevel;
    dup2(savedStderr, STDERR_FILENO);
    close(devNull);
    close(savedStderr);
}
BENCHMARK(BM_Dump120)->Arg(0)->Arg(3);

} // namespace

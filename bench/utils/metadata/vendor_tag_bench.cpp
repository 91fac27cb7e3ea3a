/*
 * Costs of the vendor tag paths that sit on hot code: name and type lookups
 * made by the camera metadata library (dumps, validation, entry adds) and
 * the cached characteristics handed to every request.
 */
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>
#include <tamo_platform/HostPlatform.h>

#include "CacheSizedCamera.h"

namespace {

void installCallbacks()
{
    static const bool installed = [] {
        std::vector<tamo::AppVendorTagSection> sections;
        tamo::VendorTagUtils::getAllVendorTags(sections);
        return true;
    }();
    benchmark::DoNotOptimize(installed);
}

void BM_StandardTagLookup(benchmark::State& state)
{
    installCallbacks();
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_camera_metadata_tag_name(ANDROID_SCALER_CROP_REGION));
        benchmark::DoNotOptimize(get_camera_metadata_tag_type(ANDROID_SCALER_CROP_REGION));
    }
}
BENCHMARK(BM_StandardTagLookup);

void BM_FrameworkTagLookup(benchmark::State& state)
{
    installCallbacks();
    const uint32_t tag = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_camera_metadata_tag_name(tag));
        benchmark::DoNotOptimize(get_camera_metadata_tag_type(tag));
    }
}
// First tag, a tag deep in the largest section, the last tag.
BENCHMARK(BM_FrameworkTagLookup)->Arg(0x80010000)->Arg(0x80020050)->Arg(0x80070001);

void BM_PlatformTagLookup(benchmark::State& state)
{
    installCallbacks();
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_camera_metadata_tag_name(0x81000000));
        benchmark::DoNotOptimize(get_camera_metadata_tag_type(0x81000000));
    }
}
BENCHMARK(BM_PlatformTagLookup);

// The host cameras are complete, more than the cache takes: cut to what it
// takes, camera 0 is built once and then served from the cache.
void BM_CachedCharacteristics(benchmark::State& state)
{
    installCallbacks();
    if (state.thread_index() == 0)
        tamo::platform::host::installEnviron(std::make_shared<testsupport::CacheSizedEnviron>());
    if (tamo::StaticMetadataUtils::getCameraCharacteristics(0) == nullptr) {
        state.SkipWithError("no characteristics for camera 0");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(tamo::StaticMetadataUtils::getCameraCharacteristics(0));
}
BENCHMARK(BM_CachedCharacteristics)->ThreadRange(1, 2)->UseRealTime();

// A complete camera is refused and never cached: what every call for it
// costs (the converter makes one per request with a crop region).
void BM_RefusedCharacteristics(benchmark::State& state)
{
    installCallbacks();
    tamo::platform::host::resetPlatform();
    // Each refusal logs a line; written, as a device writes it, but unseen.
    const int saved = dup(STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDERR_FILENO);
    for (auto _ : state)
        benchmark::DoNotOptimize(tamo::StaticMetadataUtils::getCameraCharacteristics(1));
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(null);
}
BENCHMARK(BM_RefusedCharacteristics);

} // namespace

#include <system/camera_metadata.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

struct Deleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, Deleter>;

// The first n standard tags, in a fixed shuffled order.
std::vector<uint32_t> standardTags(size_t n) {
    std::vector<uint32_t> tags;
    for (uint32_t s = 0; s < ANDROID_SECTION_COUNT && tags.size() < n; ++s) {
        for (uint32_t t = camera_metadata_section_bounds[s][0];
             t < camera_metadata_section_bounds[s][1] && tags.size() < n; ++t) {
            tags.push_back(t);
        }
    }
    std::shuffle(tags.begin(), tags.end(), std::mt19937(42));
    return tags;
}

// Mixed counts: some payloads inline, most in the data area.
bool fill(camera_metadata_t* m, const std::vector<uint32_t>& tags) {
    static const uint8_t zeros[64] = {};
    int failures = 0;
    for (size_t i = 0; i < tags.size(); ++i) {
        failures += add_camera_metadata_entry(m, tags[i], zeros, 1 + i % 4);
    }
    return failures == 0;
}

MetadataPtr filled(size_t n) {
    MetadataPtr m(allocate_camera_metadata(n, n * 32));
    if (!fill(m.get(), standardTags(n))) m.reset();
    return m;
}

void BM_AllocateFree(benchmark::State& state) {
    for (auto _ : state) {
        camera_metadata_t* m = allocate_camera_metadata(400, 180000);
        benchmark::DoNotOptimize(m);
        free_camera_metadata(m);
    }
}
BENCHMARK(BM_AllocateFree);

void BM_Add30Mixed(benchmark::State& state) {
    const std::vector<uint32_t> tags = standardTags(30);
    const size_t size = calculate_camera_metadata_size(30, 30 * 32);
    std::unique_ptr<uint64_t[]> storage(new uint64_t[size / 8]);
    for (auto _ : state) {
        camera_metadata_t* m = place_camera_metadata(storage.get(), size, 30, 30 * 32);
        if (!fill(m, tags)) state.SkipWithError("add failed");
    }
    state.SetItemsProcessed(state.iterations() * 30);
}
BENCHMARK(BM_Add30Mixed);

// Args: entries, sorted. Every lookup hits; the tags come in shuffled order.
void BM_Find(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const bool sorted = state.range(1) != 0;
    MetadataPtr m = filled(n);
    if (!m) return state.SkipWithError("fill failed");
    if (sorted) sort_camera_metadata(m.get());
    const std::vector<uint32_t> tags = standardTags(n);
    size_t i = 0;
    camera_metadata_ro_entry_t entry;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find_camera_metadata_ro_entry(m.get(), tags[i], &entry));
        i = i + 1 == tags.size() ? 0 : i + 1;
    }
    state.SetLabel(sorted ? "sorted" : "unsorted");
}
BENCHMARK(BM_Find)->ArgNames({"entries", "sorted"})->Args({30, 0})->Args({30, 1})->Args({120, 0})->Args({120, 1});

void BM_Append30(benchmark::State& state) {
    MetadataPtr src = filled(30);
    if (!src) return state.SkipWithError("fill failed");
    const size_t data = get_camera_metadata_data_count(src.get());
    const size_t size = calculate_camera_metadata_size(30, data);
    std::unique_ptr<uint64_t[]> storage(new uint64_t[size / 8]);
    for (auto _ : state) {
        camera_metadata_t* dst = place_camera_metadata(storage.get(), size, 30, data);
        benchmark::DoNotOptimize(append_camera_metadata(dst, src.get()));
    }
}
BENCHMARK(BM_Append30);

void BM_Validate120(benchmark::State& state) {
    MetadataPtr m = filled(120);
    if (!m) return state.SkipWithError("fill failed");
    const size_t size = get_camera_metadata_size(m.get());
    for (auto _ : state) {
        benchmark::DoNotOptimize(validate_camera_metadata_structure(m.get(), &size));
    }
}
BENCHMARK(BM_Validate120);

}  // namespace

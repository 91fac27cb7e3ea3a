#pragma once

#include <tamo/Metadata.h>
#include <tamo/MetadataPool.h>

#include <memory>
#include <numeric>

#include "LogLines.h"

namespace metadata_test {

using testsupport::LevelGuard;
using testsupport::Lines;
using testsupport::lines;

// Int32 tags: one element lives in the entry, two or more in the data area.
constexpr uint32_t C = ANDROID_CONTROL_AE_EXPOSURE_COMPENSATION, P = ANDROID_CONTROL_AE_PRECAPTURE_ID,
                   R = ANDROID_CONTROL_AE_REGIONS, T = ANDROID_CONTROL_AF_TRIGGER_ID,
                   F = ANDROID_CONTROL_AE_TARGET_FPS_RANGE;
constexpr auto REQUEST = tamo::MetadataPool::METADATA_TYPE_REQUEST, RESULT = tamo::MetadataPool::METADATA_TYPE_RESULT;

using RawMeta = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;
using Caps = std::pair<size_t, size_t>;

// A buffer of exactly these capacities; entry {tag, n} holds first, first + 1...
inline RawMeta ints(size_t entries, size_t data, std::initializer_list<std::pair<uint32_t, int>> tags,
                    int32_t first = 1)
{
    RawMeta m(allocate_camera_metadata(entries, data), free_camera_metadata);
    for (auto [tag, n] : tags) {
        std::vector<int32_t> v(n);
        std::iota(v.begin(), v.end(), first);
        add_camera_metadata_entry(m.get(), tag, v.data(), n);
    }
    return m;
}

inline std::shared_ptr<tamo::Metadata> object(const RawMeta& raw)
{
    auto meta = tamo::Metadata::create();
    meta->init(raw.get());
    return meta;
}

// An entry's int32 values; {-1} when absent.
inline std::vector<int32_t> values(const std::shared_ptr<tamo::Metadata>& meta, uint32_t tag)
{
    auto e = meta != nullptr ? meta->getMetadataByTag(tag) : tamo::MetadataEntryData{0, nullptr};
    auto* p = static_cast<const int32_t*>(e.data);
    return p != nullptr ? std::vector<int32_t>(p, p + e.count) : std::vector<int32_t>{-1};
}

inline Caps caps(const std::shared_ptr<tamo::Metadata>& meta)
{
    return {get_camera_metadata_entry_capacity(meta->getFwkMetadata()),
            get_camera_metadata_data_capacity(meta->getFwkMetadata())};
}

} // namespace metadata_test

/*
 * Camera metadata objects: one platform camera_metadata buffer per object,
 * grown on demand when other metadata is appended into it.
 *
 * Threads: a Metadata object takes no lock. Calls that only read it
 * (getMetadataByTag, getMetadataSize, dump, dumpByTag, and clone of it) may
 * run on several threads at once, as long as no thread changes it; init,
 * updateMetaDataByTag and appendMetadata need the caller's serialisation
 * against every other call on the same object, and may move its buffer, so
 * pointers from getFwkMetadata() or getMetadataByTag() are good only until
 * the next change. create() and the MetadataUtils functions may run on any
 * thread at any time.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <system/camera_metadata.h>

namespace tamo {

// One entry as seen by getMetadataByTag(): data points into the buffer and
// stays valid until the buffer is next changed or relocated.
struct MetadataEntryData {
    uint32_t count;   // 0xFFFFFFFF when the tag is absent
    const void* data; // null when absent or of an unknown type
};

class Metadata {
public:
    // The order of these virtual functions is ABI: add new ones at the end.
    virtual ~Metadata() {}
    virtual bool init(unsigned int entryCapacity, unsigned int dataCapacity) = 0;
    virtual bool init(const camera_metadata* meta) = 0;
    virtual bool updateMetaDataByTag(unsigned int tag, const void* data, unsigned int count) = 0;
    virtual MetadataEntryData getMetadataByTag(unsigned int tag) = 0;
    // meta may be this object's own buffer, or this object: its entries are
    // then appended once more.
    virtual bool appendMetadata(const camera_metadata* meta) = 0;
    virtual bool appendMetadata(std::shared_ptr<Metadata> meta) = 0;
    virtual size_t getMetadataSize() = 0;
    virtual camera_metadata* getFwkMetadata() = 0;
    virtual void dump() = 0;
    virtual void dumpByTag(unsigned int tag, std::string& out) = 0;

    // An object without a buffer: init() it, or appendMetadata() into it.
    static std::shared_ptr<Metadata> create();
    // An exact copy, without headroom; without a buffer when meta has none.
    static std::shared_ptr<Metadata> clone(std::shared_ptr<Metadata> meta);
    // A copy with room for at least entryCapacity entries and dataCapacity
    // data bytes.
    static std::shared_ptr<Metadata> clone(std::shared_ptr<Metadata> meta,
                                           unsigned int entryCapacity,
                                           unsigned int dataCapacity);
};

// Null-safe accessors over a raw buffer.
class MetadataUtils {
public:
    static size_t getCameraMetadataSize(const camera_metadata* meta);
    static size_t getCameraMetadataEntryCount(const camera_metadata* meta);
    static size_t getCameraMetadataEntryCapacity(const camera_metadata* meta);
    static size_t getCameraMetadataDataCount(const camera_metadata* meta);
    static size_t getCameraMetadataDataCapacity(const camera_metadata* meta);
};

} // namespace tamo

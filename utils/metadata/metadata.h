/*
 * The one implementation of tamo::Metadata. Not locked: the owner of an
 * object serialises changes to it.
 */
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <tamo/Metadata.h>

namespace tamo {

class MetadataImpl : public Metadata {
public:
    MetadataImpl() = default;
    ~MetadataImpl() override;
    MetadataImpl(const MetadataImpl&) = delete;
    MetadataImpl& operator=(const MetadataImpl&) = delete;

    bool init(unsigned int entryCapacity, unsigned int dataCapacity) override;
    bool init(const camera_metadata* meta) override;
    bool updateMetaDataByTag(unsigned int tag, const void* data, unsigned int count) override;
    MetadataEntryData getMetadataByTag(unsigned int tag) override;
    bool appendMetadata(const camera_metadata* meta) override;
    bool appendMetadata(std::shared_ptr<Metadata> meta) override;
    size_t getMetadataSize() override;
    camera_metadata* getFwkMetadata() override;
    void dump() override;
    void dumpByTag(unsigned int tag, std::string& out) override;

    // Makes room for src's entries and data, reallocating to the exact sum
    // when the buffer is too small. Allocates the first buffer when empty.
    bool relocateMetaCheck(const camera_metadata* src);

private:
    std::unique_ptr<camera_metadata, std::function<void(camera_metadata*)>> mMeta;
};

} // namespace tamo

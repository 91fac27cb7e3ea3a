/*
 * Default tag descriptor: answers from the stand-in platform's own table,
 * indexed by the section and tag positions encoded in the number.
 */
#include <tamo_platform/HostPlatform.h>

#include "HostVendorTags.h"

namespace tamo::platform::host {

namespace {

constexpr int kUnknownType = 255;

class HostTagDescriptor : public IPlatformTagDescriptor {
public:
    const char* getSectionName(uint32_t tag) const override
    {
        const AppVendorTagSection* section = sectionOf(tag);
        return section != nullptr ? section->sectionName.c_str() : nullptr;
    }

    const char* getTagName(uint32_t tag) const override
    {
        const AppVendorTag* entry = tagOf(tag);
        return entry != nullptr ? entry->tagName.c_str() : nullptr;
    }

    int getTagType(uint32_t tag) const override
    {
        const AppVendorTag* entry = tagOf(tag);
        return entry != nullptr ? static_cast<int>(entry->tagType) : kUnknownType;
    }

private:
    static const AppVendorTagSection* sectionOf(uint32_t tag)
    {
        if (tag < kHostVendorTagBase)
            return nullptr;
        const auto& sections = hostVendorTagSections();
        uint32_t position = (tag - kHostVendorTagBase) >> 16;
        return position < sections.size() ? &sections[position] : nullptr;
    }

    static const AppVendorTag* tagOf(uint32_t tag)
    {
        const AppVendorTagSection* section = sectionOf(tag);
        if (section == nullptr)
            return nullptr;
        uint32_t position = tag & 0xFFFF;
        return position < section->tags.size() ? &section->tags[position] : nullptr;
    }
};

} // namespace

std::shared_ptr<IPlatformTagDescriptor> createHostTagDescriptor()
{
    return std::make_shared<HostTagDescriptor>();
}

} // namespace tamo::platform::host

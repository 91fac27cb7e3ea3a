/*
 * The vendor tag callbacks for any tag number: framework numbers answer
 * from the table by position, platform numbers from the platform's tag
 * descriptor, the rest nothing; the camera metadata library, through the
 * installed callbacks, answers the same.
 *
 * Input: tag numbers, four bytes each; one of 0x40000000-0x7FFFFFFF is
 * folded into the framework's range, to reach its sections more often.
 */
#include <cstring>

#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>
#include <tamo_platform/IPlatformTagDescriptor.h>

#include "FuzzSupport.h"

using namespace tamo;
using tamo::fuzz::Reader;

namespace {

constexpr int kUnknownType = 255;

std::vector<AppVendorTagSection> sections; // the platform's, then the framework's seven

const AppVendorTagSection* frameworkSection(uint32_t position)
{
    return position < 7 ? &sections[sections.size() - 7 + position] : nullptr;
}

bool same(const char* a, const char* b)
{
    return a == nullptr ? b == nullptr : b != nullptr && std::strcmp(a, b) == 0;
}

void check(uint32_t tag)
{
    using D = VendorTagDescriptorUtils;
    static vendor_tag_ops_t ops;
    const char* section = D::tamo_get_section_name(&ops, tag);
    const char* name = D::tamo_get_tag_name(&ops, tag);
    const int type = D::tamo_get_tag_type(&ops, tag);

    if (tag >> 24 >= 0x81) {
        auto platform = platform::IPlatformTagDescriptor::getInstance();
        FUZZ_CHECK(platform != nullptr);
        FUZZ_CHECK(same(section, platform->getSectionName(tag)) && same(name, platform->getTagName(tag)) &&
                   type == platform->getTagType(tag));
    } else {
        const AppVendorTagSection* s = frameworkSection((tag + 0x7FFF0000u) >> 16);
        const uint32_t index = tag & 0xFFFF;
        const AppVendorTag* t = s != nullptr && index < s->tags.size() ? &s->tags[index] : nullptr;
        FUZZ_CHECK(same(section, s != nullptr ? s->sectionName.c_str() : nullptr));
        FUZZ_CHECK(same(name, t != nullptr ? t->tagName.c_str() : nullptr));
        FUZZ_CHECK(type == (t != nullptr ? int(t->tagType) : kUnknownType));
        FUZZ_CHECK(t == nullptr || (t->tagId == tag && type >= TYPE_BYTE && type <= TYPE_INT64));
    }
    if (name != nullptr)
        FUZZ_CHECK(section != nullptr && std::strlen(name) != 0);

    // The library asks the callbacks for every vendor section.
    if (tag >> 16 >= VENDOR_SECTION) {
        FUZZ_CHECK(same(get_camera_metadata_section_name(tag), section));
        FUZZ_CHECK(same(get_camera_metadata_tag_name(tag), name));
        FUZZ_CHECK(get_camera_metadata_tag_type(tag) == type);
    }

    uint32_t untouched[2] = {0xA5A5A5A5, 0xA5A5A5A5};
    D::tamo_get_all_tags(&ops, untouched);
    FUZZ_CHECK(untouched[0] == 0xA5A5A5A5 && untouched[1] == 0xA5A5A5A5);
    FUZZ_CHECK(D::tamo_get_tag_count(&ops) == 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    VendorTagUtils::getAllVendorTags(sections);
    FUZZ_CHECK(sections.size() >= 7);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Reader in(data, size);
    while (in.remaining() >= 4) {
        uint32_t tag = in.u32();
        if (tag >> 30 == 1)
            tag = 0x80000000u | (tag & 0x000F00FFu);
        check(tag);
    }
    return 0;
}

/* Standard tag table shared by the library and its generated part. */
#ifndef CAMERA_METADATA_TAG_TABLE_H
#define CAMERA_METADATA_TAG_TABLE_H

#include <stdint.h>

#include <system/camera_metadata.h>

/* The library is built with hidden visibility; this marks its API. */
#define CAMERA_METADATA_EXPORT __attribute__((visibility("default")))

/* One named value of an enumerated tag; negative values wrap, as in the API. */
struct cm_enum_value {
    const char *label;
    uint32_t value;
};

/*
 * A NULL name marks a tag number that the section leaves unused. Named
 * values are in declaration order; none for a tag that is not enumerated.
 */
struct cm_tag_info {
    const char *name;
    uint8_t type;
    uint8_t enum_count;
    const struct cm_enum_value *enums;
};

/*
 * The tags of one section span [first, end); tags[tag - first] describes a
 * tag. Private and constant, unlike the exported name and bound arrays.
 */
struct cm_section_info {
    const char *name;
    uint32_t first;
    uint32_t end;
    const struct cm_tag_info *tags;
};

extern const struct cm_section_info cm_sections[ANDROID_SECTION_COUNT];

#endif /* CAMERA_METADATA_TAG_TABLE_H */

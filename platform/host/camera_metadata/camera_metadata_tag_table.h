/* Standard tag table shared by the library and its generated part. */
#ifndef CAMERA_METADATA_TAG_TABLE_H
#define CAMERA_METADATA_TAG_TABLE_H

#include <stdint.h>

#include <system/camera_metadata.h>

/* The library is built with hidden visibility; this marks its API. */
#define CAMERA_METADATA_EXPORT __attribute__((visibility("default")))

/* A NULL name marks a tag number that the section leaves unused. */
struct cm_tag_info {
    const char *name;
    uint8_t type;
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

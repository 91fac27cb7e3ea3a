/*
 * Vendor tag callbacks of the camera metadata library. Tags whose section
 * (tag >> 16) is VENDOR_SECTION or above are named and typed by these.
 * Like the device's, this header includes nothing: <stdint.h> comes first.
 */
#ifndef SYSTEM_CAMERA_VENDOR_TAGS_H
#define SYSTEM_CAMERA_VENDOR_TAGS_H

#ifdef __cplusplus
extern "C" {
#endif

#define CAMERA_METADATA_VENDOR_TAG_BOUNDARY 0x80000000u
#define CAMERA_METADATA_INVALID_VENDOR_ID UINT64_MAX

typedef uint64_t metadata_vendor_id_t;

typedef struct vendor_tag_ops vendor_tag_ops_t;

/* Answers for the vendor tags of the process, one table for everyone. */
struct vendor_tag_ops {
    /* Number of vendor tags, -1 on error. */
    int (*get_tag_count)(const vendor_tag_ops_t *v);
    /* Fills tag_array with get_tag_count() tags. */
    void (*get_all_tags)(const vendor_tag_ops_t *v, uint32_t *tag_array);
    /* Section name of a tag, NULL when unknown. */
    const char *(*get_section_name)(const vendor_tag_ops_t *v, uint32_t tag);
    /* Tag name without its section, NULL when unknown. */
    const char *(*get_tag_name)(const vendor_tag_ops_t *v, uint32_t tag);
    /* Type code (TYPE_BYTE...), -1 when unknown. */
    int (*get_tag_type)(const vendor_tag_ops_t *v, uint32_t tag);

    void *reserved[8];
};

/* The same answers, per vendor id; used for buffers that carry a vendor id. */
struct vendor_tag_cache_ops {
    int (*get_tag_count)(metadata_vendor_id_t id);
    void (*get_all_tags)(uint32_t *tag_array, metadata_vendor_id_t id);
    const char *(*get_section_name)(uint32_t tag, metadata_vendor_id_t id);
    const char *(*get_tag_name)(uint32_t tag, metadata_vendor_id_t id);
    int (*get_tag_type)(uint32_t tag, metadata_vendor_id_t id);

    void *reserved[8];
};

typedef struct vendor_tag_cache_ops vendor_tag_cache_ops_t;

#ifdef __cplusplus
}
#endif

#endif /* SYSTEM_CAMERA_VENDOR_TAGS_H */

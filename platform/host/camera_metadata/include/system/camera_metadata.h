/*
 * Camera metadata buffers: one contiguous, relocatable packet holding a
 * header, an array of entries and a data area for payloads of more than four
 * bytes. The binary layout is shared with the device side, so a packet may be
 * copied between processes as it stands.
 *
 * Buffers are not locked: a call that changes one must not overlap any other
 * call on it. Name, type, enumeration and permission lookups may run from
 * any thread.
 */
#ifndef SYSTEM_CAMERA_METADATA_H
#define SYSTEM_CAMERA_METADATA_H

#include <string.h>
#include <stdint.h>
#include <cutils/compiler.h>

#include <system/camera_metadata_tags.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Entry types. */
enum {
    TYPE_BYTE = 0,     /* uint8_t */
    TYPE_INT32 = 1,    /* int32_t */
    TYPE_FLOAT = 2,    /* float */
    TYPE_INT64 = 3,    /* int64_t */
    TYPE_DOUBLE = 4,   /* double */
    TYPE_RATIONAL = 5, /* camera_metadata_rational_t */
    NUM_TYPES
};

typedef struct camera_metadata_rational {
    int32_t numerator;
    int32_t denominator;
} camera_metadata_rational_t;

/* A view of one entry; data points into the buffer. */
typedef struct camera_metadata_entry {
    size_t index;
    uint32_t tag;
    uint8_t type;
    size_t count;
    union {
        uint8_t *u8;
        int32_t *i32;
        float *f;
        int64_t *i64;
        double *d;
        camera_metadata_rational_t *r;
    } data;
} camera_metadata_entry_t;

typedef struct camera_metadata_ro_entry {
    size_t index;
    uint32_t tag;
    uint8_t type;
    size_t count;
    union {
        const uint8_t *u8;
        const int32_t *i32;
        const float *f;
        const int64_t *i64;
        const double *d;
        const camera_metadata_rational_t *r;
    } data;
} camera_metadata_ro_entry_t;

typedef struct camera_metadata camera_metadata_t;

/* Names ("byte", "int32"...) and element sizes of the entry types. */
extern const char *camera_metadata_type_names[NUM_TYPES];
extern const size_t camera_metadata_type_size[NUM_TYPES];

/*
 * Allocates a zero-filled buffer with room for exactly entry_capacity entries
 * and data_capacity data bytes. NULL when out of memory or too large.
 */
camera_metadata_t *allocate_camera_metadata(size_t entry_capacity, size_t data_capacity);

/*
 * Lays out an empty buffer in caller memory (8-byte aligned, at least
 * calculate_camera_metadata_size() bytes). Only the header and the padding
 * at the end are written; the caller clears the rest if it travels. NULL
 * when it does not fit.
 */
camera_metadata_t *place_camera_metadata(void *dst, size_t dst_size, size_t entry_capacity,
                                         size_t data_capacity);

/* Frees a buffer from allocate_camera_metadata() or a clone; NULL is ignored. */
void free_camera_metadata(camera_metadata_t *metadata);

/* Packet size for the given capacities (SIZE_MAX when it overflows). */
size_t calculate_camera_metadata_size(size_t entry_count, size_t data_count);

/* Packet size; 1 for NULL. */
size_t get_camera_metadata_size(const camera_metadata_t *metadata);

/* Size of a packet that holds just the entries and data in use; 1 for NULL. */
size_t get_camera_metadata_compact_size(const camera_metadata_t *metadata);

/*
 * Counts and capacities. The packet must be valid: NULL is not checked for
 * and aborts the process.
 */
size_t get_camera_metadata_entry_count(const camera_metadata_t *metadata);
size_t get_camera_metadata_entry_capacity(const camera_metadata_t *metadata);
size_t get_camera_metadata_data_count(const camera_metadata_t *metadata);
size_t get_camera_metadata_data_capacity(const camera_metadata_t *metadata);

/*
 * Copies src, compacted, into caller memory of dst_size bytes. NULL when it
 * does not fit or dst is NULL; a NULL src aborts the process.
 */
camera_metadata_t *copy_camera_metadata(void *dst, size_t dst_size, const camera_metadata_t *src);

#define CAMERA_METADATA_VALIDATION_ERROR 1
#define CAMERA_METADATA_VALIDATION_SHIFTED 2

/*
 * Checks that a packet of untrusted origin is consistent and lies within
 * *expected_size bytes (when expected_size is not NULL). Returns 0 when
 * valid, CAMERA_METADATA_VALIDATION_SHIFTED when valid but not 8-byte aligned
 * (copy it to aligned memory before use), CAMERA_METADATA_VALIDATION_ERROR
 * otherwise.
 */
int validate_camera_metadata_structure(const camera_metadata_t *metadata,
                                       const size_t *expected_size);

/*
 * Appends all entries of src to dst. Fails (1) when dst lacks room or both
 * carry different vendor ids.
 */
int append_camera_metadata(camera_metadata_t *dst, const camera_metadata_t *src);

/* A new buffer sized exactly for src's contents; NULL on failure. */
camera_metadata_t *clone_camera_metadata(const camera_metadata_t *src);

/* Data-area bytes taken by a payload: 0 when it fits in the entry. */
size_t calculate_camera_metadata_entry_data_size(uint8_t type, size_t data_count);

/* Adds an entry of the tag's own type at the end. 0 on success, 1 on error. */
int add_camera_metadata_entry(camera_metadata_t *dst, uint32_t tag, const void *data,
                              size_t data_count);

/* Sorts the entries by tag so that lookups use a binary search. */
int sort_camera_metadata(camera_metadata_t *dst);

/* The entry at index; 1 when out of range. */
int get_camera_metadata_entry(camera_metadata_t *src, size_t index,
                              camera_metadata_entry_t *entry);
int get_camera_metadata_ro_entry(const camera_metadata_t *src, size_t index,
                                 camera_metadata_ro_entry_t *entry);

/* The first entry with the tag; -ENOENT when there is none. */
int find_camera_metadata_entry(camera_metadata_t *src, uint32_t tag,
                               camera_metadata_entry_t *entry);
int find_camera_metadata_ro_entry(const camera_metadata_t *src, uint32_t tag,
                                  camera_metadata_ro_entry_t *entry);

/* Removes the entry at index, closing the gaps in entries and data. */
int delete_camera_metadata_entry(camera_metadata_t *dst, size_t index);

/*
 * Replaces the payload of the entry at index (same type, any count). Nothing
 * changes when the data area lacks room. updated_entry may be NULL.
 */
int update_camera_metadata_entry(camera_metadata_t *dst, size_t index, const void *data,
                                 size_t data_count, camera_metadata_entry_t *updated_entry);

/* Section name, tag name and type code of a tag; NULL / -1 when unknown. */
const char *get_camera_metadata_section_name(uint32_t tag);
const char *get_camera_metadata_tag_name(uint32_t tag);
int get_camera_metadata_tag_type(uint32_t tag);

/* The same, answered for vendor tags by the callbacks of meta's vendor id. */
const char *get_local_camera_metadata_section_name(uint32_t tag, const camera_metadata_t *meta);
const char *get_local_camera_metadata_tag_name(uint32_t tag, const camera_metadata_t *meta);
int get_local_camera_metadata_tag_type(uint32_t tag, const camera_metadata_t *meta);

/*
 * The label of an enumerated tag's value ("BACK" for ANDROID_LENS_FACING_BACK),
 * at most size - 1 characters and a terminating zero. 0 on success; -1, with
 * "error: not an enum" or "error: enum value out of range" written instead,
 * for a tag without named values or a value it does not name.
 */
int camera_metadata_enum_snprint(uint32_t tag, uint32_t value, char *dst, size_t size);

/*
 * The value of a label, compared with strncmp() over at most size characters
 * in declaration order; the first match wins. 0 on success, -1 for a NULL
 * name or value, a tag without named values or no match.
 */
int camera_metadata_enum_value(uint32_t tag, const char *name, size_t size, uint32_t *value);

/*
 * The tags whose values need the camera permission, *tag_count of them; a
 * static array. NULL when tag_count is NULL.
 */
const int32_t *get_camera_metadata_permission_needed(uint32_t *tag_count);

/* Superseded by set_camera_metadata_vendor_ops(); always fails. */
typedef struct vendor_tag_query_ops vendor_tag_query_ops_t;
struct vendor_tag_query_ops {
    const char *(*get_camera_vendor_section_name)(const vendor_tag_query_ops_t *v, uint32_t tag);
    const char *(*get_camera_vendor_tag_name)(const vendor_tag_query_ops_t *v, uint32_t tag);
    int (*get_camera_vendor_tag_type)(const vendor_tag_query_ops_t *v, uint32_t tag);
    int (*get_camera_vendor_tag_count)(const vendor_tag_query_ops_t *v);
    void (*get_camera_vendor_tags)(const vendor_tag_query_ops_t *v, uint32_t *tag_array);
};
int set_camera_metadata_vendor_tag_ops(const vendor_tag_query_ops_t *query_ops);

/*
 * Writes a description of the buffer to fd, enumerated byte and int32 values
 * by label. verbosity 0: entries only, 1: also up to 16 values each, 2: all
 * values.
 */
void dump_camera_metadata(const camera_metadata_t *metadata, int fd, int verbosity);
void dump_indented_camera_metadata(const camera_metadata_t *metadata, int fd, int verbosity,
                                   int indentation);

/* Alignment of a packet in memory (8). */
size_t get_camera_metadata_alignment(void);

/*
 * Copies src_size bytes into a new buffer and validates the copy; NULL when
 * it is not a valid packet of at most src_size bytes.
 */
camera_metadata_t *allocate_copy_camera_metadata_checked(const camera_metadata_t *src,
                                                         size_t src_size);

#ifdef __cplusplus
}
#endif

#endif /* SYSTEM_CAMERA_METADATA_H */

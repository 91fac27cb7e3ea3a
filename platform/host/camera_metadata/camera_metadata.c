/*
 * Host build of the camera metadata library. The packet layout is the
 * device's, byte for byte; the host additionally refuses anything that would
 * make it index past its tables or past a packet.
 */
#define _POSIX_C_SOURCE 200809L /* dprintf */

#include "camera_metadata_tag_table.h"
#include "fault/camera_metadata_fault.h"

#include <camera_metadata_hidden.h>

#include <errno.h>
#include <inttypes.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "camera metadata packets are little-endian"
#endif

#define OK 0
#define ERROR 1
#define NOT_FOUND (-ENOENT)

#define METADATA_VERSION 1u
#define FLAG_SORTED 0x1u
#define PACKET_ALIGNMENT 8u
#define ENTRY_ALIGNMENT 4u
#define DATA_ALIGNMENT 8u
#define INLINE_BYTES 4u

struct camera_metadata {
    uint32_t size;
    uint32_t version;
    uint32_t flags;
    uint32_t entry_count;
    uint32_t entry_capacity;
    uint32_t entries_start;
    uint32_t data_count;
    uint32_t data_capacity;
    uint32_t data_start;
    uint32_t padding;
    uint64_t vendor_id;
};

typedef struct {
    uint32_t tag;
    uint32_t count;
    union {
        uint32_t offset;
        uint8_t value[INLINE_BYTES];
    } data;
    uint8_t type;
    uint8_t reserved[3];
} packet_entry_t;

_Static_assert(sizeof(struct camera_metadata) == 48, "header is 48 bytes");
_Static_assert(offsetof(struct camera_metadata, data_start) == 32, "header layout");
_Static_assert(offsetof(struct camera_metadata, vendor_id) == 40, "header layout");
_Static_assert(sizeof(packet_entry_t) == 16, "entry is 16 bytes");
_Static_assert(offsetof(packet_entry_t, type) == 12, "entry layout");

#define HEADER_SIZE ((uint64_t)sizeof(struct camera_metadata))
#define ENTRY_SIZE ((uint64_t)sizeof(packet_entry_t))

CAMERA_METADATA_EXPORT
const char *camera_metadata_type_names[NUM_TYPES] = {
    [TYPE_BYTE] = "byte",     [TYPE_INT32] = "int32",   [TYPE_FLOAT] = "float",
    [TYPE_INT64] = "int64",   [TYPE_DOUBLE] = "double", [TYPE_RATIONAL] = "rational",
};

CAMERA_METADATA_EXPORT
const size_t camera_metadata_type_size[NUM_TYPES] = {
    [TYPE_BYTE] = 1, [TYPE_INT32] = 4, [TYPE_FLOAT] = 4,
    [TYPE_INT64] = 8, [TYPE_DOUBLE] = 8, [TYPE_RATIONAL] = 8,
};

/* Private copies: the exported tables are writable by any client. */
static const uint8_t kTypeSize[NUM_TYPES] = {1, 4, 4, 8, 8, 8};
static const char *const kTypeName[NUM_TYPES] = {"byte",  "int32",  "float",
                                                 "int64", "double", "rational"};

static _Atomic(const vendor_tag_ops_t *) g_vendor_ops;
static _Atomic(const vendor_tag_cache_ops_t *) g_vendor_cache_ops;

static uint64_t align_to(uint64_t value, uint64_t alignment) {
    return (value + alignment - 1) & ~(alignment - 1);
}

static packet_entry_t *entries_of(const camera_metadata_t *m) {
    return (packet_entry_t *)((uint8_t *)m + m->entries_start);
}

static uint8_t *data_of(const camera_metadata_t *m) {
    return (uint8_t *)m + m->data_start;
}

static const struct cm_tag_info *standard_tag(uint32_t tag) {
    uint32_t section = tag >> 16;
    if (section >= ANDROID_SECTION_COUNT) return NULL;
    const struct cm_section_info *s = &cm_sections[section];
    if (tag < s->first || tag >= s->end) return NULL;
    const struct cm_tag_info *info = &s->tags[tag - s->first];
    return info->name != NULL ? info : NULL;
}

static int tag_type(uint32_t tag, metadata_vendor_id_t id);

/* Data-area bytes of a payload; types the library does not know live inline. */
static uint64_t payload_data_bytes(uint8_t type, uint64_t count) {
    if (type >= NUM_TYPES) return 0;
    uint64_t bytes = count * kTypeSize[type];
    return bytes <= INLINE_BYTES ? 0 : align_to(bytes, DATA_ALIGNMENT);
}

/*
 * Writes a payload (over 4 bytes) into its data-area slot, the alignment
 * tail zeroed. The slot's last word is composed from the source and stored
 * whole, so the tail needs no memset and small payloads no library call.
 * Source words are read before the slot is written and longer heads go
 * through memmove: an update may copy from the packet itself.
 */
static void write_payload(uint8_t *slot, const void *data, uint64_t payload, uint64_t slot_bytes) {
    const uint8_t *from = data;
    const uint64_t head = slot_bytes - DATA_ALIGNMENT;
    uint64_t last;
    if (payload >= 8) {
        memcpy(&last, from + payload - 8, sizeof(last));
        last >>= 8 * (slot_bytes - payload);
    } else { /* 5 to 7 bytes, as two overlapping halves */
        uint32_t low, high;
        memcpy(&low, from, sizeof(low));
        memcpy(&high, from + payload - 4, sizeof(high));
        last = low | (uint64_t)high << (8 * (payload - 4));
    }
    if (head == 8) {
        uint64_t first;
        memcpy(&first, from, sizeof(first));
        memcpy(slot, &first, sizeof(first));
    } else if (head != 0) {
        memmove(slot, from, head);
    }
    memcpy(slot + head, &last, sizeof(last));
}

/*
 * Up to 4 bytes, composed in a register: a variable-size copy would be a
 * library call, and bytes stored one by one then read back as a word stall
 * the store buffer.
 */
static uint32_t inline_value(const void *data, uint64_t payload) {
    const uint8_t *from = data;
    uint32_t value = 0;
    if (payload & 4) {
        memcpy(&value, from, 4);
    } else {
        if (payload & 2) {
            uint16_t half;
            memcpy(&half, from, 2);
            value = half;
        }
        if (payload & 1) value |= (uint32_t)from[payload & 2] << (8 * (payload & 2));
    }
    return value;
}

static void write_inline(packet_entry_t *entry, const void *data, uint64_t payload) {
    uint32_t value = inline_value(data, payload);
    memcpy(entry->data.value, &value, sizeof(value));
}

/*
 * Removes bytes at offset from the data area and rebases later payloads. The
 * freed tail is cleared: a packet travels whole, capacity included.
 */
static void remove_data(camera_metadata_t *m, uint32_t offset, uint32_t bytes) {
    uint8_t *data = data_of(m);
    memmove(data + offset, data + offset + bytes, m->data_count - offset - bytes);
    memset(data + m->data_count - bytes, 0, bytes);
    packet_entry_t *e = entries_of(m);
    for (uint32_t i = 0; i < m->entry_count; ++i) {
        if (payload_data_bytes(e[i].type, e[i].count) != 0 && e[i].data.offset > offset) {
            e[i].data.offset -= bytes;
        }
    }
    m->data_count -= bytes;
}

/* The out-of-line payload of an entry lies within the used data area. */
static bool payload_in_use(const camera_metadata_t *m, const packet_entry_t *e, uint64_t bytes) {
    return (uint64_t)e->data.offset + bytes <= m->data_count;
}

/*
 * Another entry's payload overlaps [offset, offset + bytes). Packets from
 * elsewhere may alias payloads; taking those bytes out of the data area
 * would leave such an entry reaching past its own data (or, rebased, below
 * the data area), so the edit is refused instead.
 */
static bool payload_shared(const camera_metadata_t *m, size_t index, uint32_t offset,
                           uint64_t bytes) {
    const packet_entry_t *e = entries_of(m);
    for (size_t i = 0; i < m->entry_count; ++i) {
        uint64_t other = payload_data_bytes(e[i].type, e[i].count);
        if (i != index && other != 0 && e[i].data.offset < offset + bytes &&
            offset < e[i].data.offset + other) {
            return true;
        }
    }
    return false;
}

static size_t packet_size(size_t entry_count, size_t data_count) {
    if (entry_count > (SIZE_MAX - HEADER_SIZE - DATA_ALIGNMENT) / ENTRY_SIZE) return SIZE_MAX;
    uint64_t size = align_to(HEADER_SIZE + entry_count * ENTRY_SIZE, DATA_ALIGNMENT);
    if (data_count > SIZE_MAX - DATA_ALIGNMENT - size) return SIZE_MAX;
    return align_to(size + data_count, PACKET_ALIGNMENT);
}

CAMERA_METADATA_EXPORT
size_t calculate_camera_metadata_size(size_t entry_count, size_t data_count) {
    return packet_size(entry_count, data_count);
}

/* A header for capacities already checked against the size field. */
static void init_header(camera_metadata_t *m, size_t needed, size_t entry_capacity,
                        size_t data_capacity) {
    m->size = (uint32_t)needed;
    m->version = METADATA_VERSION;
    m->flags = 0;
    m->entry_count = 0;
    m->entry_capacity = (uint32_t)entry_capacity;
    m->entries_start = (uint32_t)HEADER_SIZE;
    m->data_count = 0;
    m->data_capacity = (uint32_t)data_capacity;
    m->data_start = (uint32_t)align_to(HEADER_SIZE + entry_capacity * ENTRY_SIZE, DATA_ALIGNMENT);
    m->padding = 0;
    m->vendor_id = CAMERA_METADATA_INVALID_VENDOR_ID;
}

CAMERA_METADATA_EXPORT
camera_metadata_t *place_camera_metadata(void *dst, size_t dst_size, size_t entry_capacity,
                                         size_t data_capacity) {
    if (dst == NULL || (uintptr_t)dst % PACKET_ALIGNMENT != 0) return NULL;
    if (entry_capacity > UINT32_MAX || data_capacity > UINT32_MAX) return NULL;
    size_t needed = packet_size(entry_capacity, data_capacity);
    if (needed > UINT32_MAX || needed > dst_size) return NULL;
    camera_metadata_t *m = (camera_metadata_t *)dst;
    init_header(m, needed, entry_capacity, data_capacity);
    uint64_t data_end = (uint64_t)m->data_start + data_capacity;
    memset((uint8_t *)m + data_end, 0, needed - data_end);
    return m;
}

CAMERA_METADATA_EXPORT
camera_metadata_t *allocate_camera_metadata(size_t entry_capacity, size_t data_capacity) {
    if (cm_fault_allocation()) return NULL;
    size_t needed = packet_size(entry_capacity, data_capacity);
    if (needed > UINT32_MAX) return NULL;
    /* Zeroed, so unused capacity carries no old heap bytes; fresh pages
     * come zeroed and calloc then skips the clearing. */
    camera_metadata_t *m = calloc(1, needed);
    if (m != NULL) init_header(m, needed, entry_capacity, data_capacity);
    return m;
}

CAMERA_METADATA_EXPORT
void free_camera_metadata(camera_metadata_t *metadata) {
    free(metadata);
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_size(const camera_metadata_t *metadata) {
    return metadata == NULL ? ERROR : metadata->size;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_compact_size(const camera_metadata_t *metadata) {
    if (metadata == NULL) return ERROR;
    return calculate_camera_metadata_size(metadata->entry_count, metadata->data_count);
}

/*
 * The device reads these fields without a NULL check and faults; the host
 * stops just as hard, but says where.
 */
static const camera_metadata_t *valid_packet(const camera_metadata_t *metadata,
                                             const char *function) {
    if (metadata == NULL) {
        fprintf(stderr, "camera_metadata: %s: NULL packet\n", function);
        abort();
    }
    return metadata;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_entry_count(const camera_metadata_t *metadata) {
    return valid_packet(metadata, __func__)->entry_count;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_entry_capacity(const camera_metadata_t *metadata) {
    return valid_packet(metadata, __func__)->entry_capacity;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_data_count(const camera_metadata_t *metadata) {
    return valid_packet(metadata, __func__)->data_count;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_data_capacity(const camera_metadata_t *metadata) {
    return valid_packet(metadata, __func__)->data_capacity;
}

CAMERA_METADATA_EXPORT
size_t get_camera_metadata_alignment(void) {
    return PACKET_ALIGNMENT;
}

CAMERA_METADATA_EXPORT
camera_metadata_t *copy_camera_metadata(void *dst, size_t dst_size, const camera_metadata_t *src) {
    if (dst == NULL) return NULL;
    if (get_camera_metadata_compact_size(src) > dst_size) return NULL;
    valid_packet(src, __func__);
    camera_metadata_t *m = place_camera_metadata(dst, dst_size, src->entry_count, src->data_count);
    if (m == NULL) return NULL;
    m->flags = src->flags;
    m->entry_count = src->entry_count;
    m->data_count = src->data_count;
    m->vendor_id = src->vendor_id;
    memcpy(entries_of(m), entries_of(src), src->entry_count * ENTRY_SIZE);
    memcpy(data_of(m), data_of(src), src->data_count);
    return m;
}

CAMERA_METADATA_EXPORT
int validate_camera_metadata_structure(const camera_metadata_t *metadata,
                                       const size_t *expected_size) {
    if (metadata == NULL) return CAMERA_METADATA_VALIDATION_ERROR;
    if (expected_size != NULL && *expected_size < HEADER_SIZE) {
        return CAMERA_METADATA_VALIDATION_ERROR;
    }
    /* Copies, so that a packet at any address is read without faulting. */
    struct camera_metadata h;
    memcpy(&h, metadata, sizeof(h));

    if (expected_size != NULL && h.size > *expected_size) return CAMERA_METADATA_VALIDATION_ERROR;
    if (h.entry_count > h.entry_capacity || h.data_count > h.data_capacity) {
        return CAMERA_METADATA_VALIDATION_ERROR;
    }
    if (h.entries_start < HEADER_SIZE || h.entries_start % ENTRY_ALIGNMENT != 0) {
        return CAMERA_METADATA_VALIDATION_ERROR;
    }
    uint64_t entries_end = h.entries_start + (uint64_t)h.entry_capacity * ENTRY_SIZE;
    if (entries_end > h.data_start) return CAMERA_METADATA_VALIDATION_ERROR;
    if ((uint64_t)h.data_start + h.data_capacity > h.size) return CAMERA_METADATA_VALIDATION_ERROR;
    /* Every packet made here has both on the grid. Copies and appends move
     * payloads by whole data areas, which would misalign them otherwise. */
    if (h.data_start % DATA_ALIGNMENT != 0 || h.data_count % DATA_ALIGNMENT != 0) {
        return CAMERA_METADATA_VALIDATION_ERROR;
    }

    const uint8_t *entries = (const uint8_t *)metadata + h.entries_start;
    for (uint32_t i = 0; i < h.entry_count; ++i) {
        packet_entry_t e;
        memcpy(&e, entries + i * ENTRY_SIZE, sizeof(e));
        if (e.type >= NUM_TYPES) return CAMERA_METADATA_VALIDATION_ERROR;
        if ((e.tag >> 16) < VENDOR_SECTION) {
            const struct cm_tag_info *info = standard_tag(e.tag);
            if (info == NULL || info->type != e.type) return CAMERA_METADATA_VALIDATION_ERROR;
        }
        uint64_t payload = (uint64_t)e.count * kTypeSize[e.type];
        if (payload <= INLINE_BYTES) {
            if (e.count == 0 && e.data.offset != 0) return CAMERA_METADATA_VALIDATION_ERROR;
            continue;
        }
        /* data_start is on the grid, checked above, so the offset alone decides. */
        if (e.data.offset % DATA_ALIGNMENT != 0 ||
            (uint64_t)e.data.offset + align_to(payload, DATA_ALIGNMENT) > h.data_count) {
            return CAMERA_METADATA_VALIDATION_ERROR;
        }
    }
    return (uintptr_t)metadata % PACKET_ALIGNMENT == 0 ? OK : CAMERA_METADATA_VALIDATION_SHIFTED;
}

CAMERA_METADATA_EXPORT
int append_camera_metadata(camera_metadata_t *dst, const camera_metadata_t *src) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_APPEND)) return ERROR;
    if (dst == NULL || src == NULL) return ERROR;
    if ((uint64_t)dst->entry_count + src->entry_count > dst->entry_capacity ||
        (uint64_t)dst->data_count + src->data_count > dst->data_capacity) {
        return ERROR;
    }
    if (dst->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID &&
        src->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID && dst->vendor_id != src->vendor_id) {
        return ERROR;
    }

    packet_entry_t *added = entries_of(dst) + dst->entry_count;
    uint32_t src_entries = src->entry_count;
    memcpy(added, entries_of(src), src_entries * ENTRY_SIZE);
    memcpy(data_of(dst) + dst->data_count, data_of(src), src->data_count);
    if (dst->data_count != 0) {
        for (uint32_t i = 0; i < src_entries; ++i) {
            if (payload_data_bytes(added[i].type, added[i].count) != 0) {
                added[i].data.offset += dst->data_count;
            }
        }
    }
    if (dst->entry_count == 0) {
        dst->flags = (dst->flags & ~FLAG_SORTED) | (src->flags & FLAG_SORTED);
    } else if (src_entries != 0) {
        dst->flags &= ~FLAG_SORTED;
    }
    dst->entry_count += src_entries;
    dst->data_count += src->data_count;
    if (dst->vendor_id == CAMERA_METADATA_INVALID_VENDOR_ID) dst->vendor_id = src->vendor_id;
    return OK;
}

CAMERA_METADATA_EXPORT
camera_metadata_t *clone_camera_metadata(const camera_metadata_t *src) {
    if (src == NULL) return NULL;
    camera_metadata_t *clone = allocate_camera_metadata(src->entry_count, src->data_count);
    if (clone != NULL && append_camera_metadata(clone, src) != OK) {
        free_camera_metadata(clone);
        clone = NULL;
    }
    return clone;
}

CAMERA_METADATA_EXPORT
camera_metadata_t *allocate_copy_camera_metadata_checked(const camera_metadata_t *src,
                                                         size_t src_size) {
    if (src == NULL || src_size < HEADER_SIZE) return NULL;
    void *copy = malloc(src_size);
    if (copy == NULL) return NULL;
    memcpy(copy, src, src_size);
    if (validate_camera_metadata_structure((camera_metadata_t *)copy, &src_size) != OK) {
        free(copy);
        return NULL;
    }
    return (camera_metadata_t *)copy;
}

CAMERA_METADATA_EXPORT
size_t calculate_camera_metadata_entry_data_size(uint8_t type, size_t data_count) {
    if (type >= NUM_TYPES) return 0;
    if (data_count > (SIZE_MAX - DATA_ALIGNMENT) / kTypeSize[type]) return SIZE_MAX;
    return payload_data_bytes(type, data_count);
}

static int add_entry(camera_metadata_t *dst, uint32_t tag, uint8_t type, const void *data,
                     size_t data_count) {
    if (dst->entry_count >= dst->entry_capacity || dst->data_count > dst->data_capacity) {
        return ERROR;
    }
    if ((data_count != 0 && data == NULL) || data_count > UINT32_MAX) return ERROR;
    uint64_t payload = (uint64_t)data_count * kTypeSize[type];

    uint32_t value;
    if (payload <= INLINE_BYTES) {
        value = inline_value(data, payload);
    } else {
        uint64_t bytes = align_to(payload, DATA_ALIGNMENT);
        if (bytes > dst->data_capacity - dst->data_count) return ERROR;
        value = dst->data_count;
        write_payload(data_of(dst) + value, data, payload, bytes);
        dst->data_count += (uint32_t)bytes;
    }
    /* Four word stores; the type's word carries the zeroed reserved bytes. */
    uint32_t words[4] = {tag, (uint32_t)data_count, value, type};
    memcpy(entries_of(dst) + dst->entry_count, words, sizeof(words));
    dst->entry_count++;
    dst->flags &= ~FLAG_SORTED;
    return OK;
}

CAMERA_METADATA_EXPORT
int add_camera_metadata_entry(camera_metadata_t *dst, uint32_t tag, const void *data,
                              size_t data_count) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_ADD)) return ERROR;
    if (dst == NULL) return ERROR;
    int type = tag_type(tag, dst->vendor_id);
    if (type < 0 || type >= NUM_TYPES) return ERROR;
    return add_entry(dst, tag, (uint8_t)type, data, data_count);
}

/* Stable, so that the first of equal tags stays first. */
static void sort_entries(packet_entry_t *a, packet_entry_t *tmp, size_t n) {
    if (n <= 16) {
        for (size_t i = 1; i < n; ++i) {
            packet_entry_t e = a[i];
            size_t j = i;
            for (; j > 0 && a[j - 1].tag > e.tag; --j) a[j] = a[j - 1];
            a[j] = e;
        }
        return;
    }
    size_t mid = n / 2;
    sort_entries(a, tmp, mid);
    sort_entries(a + mid, tmp, n - mid);
    if (a[mid - 1].tag <= a[mid].tag) return;
    memcpy(tmp, a, mid * sizeof(*a));
    size_t i = 0, j = mid, k = 0;
    while (i < mid && j < n) a[k++] = a[j].tag < tmp[i].tag ? a[j++] : tmp[i++];
    while (i < mid) a[k++] = tmp[i++];
}

CAMERA_METADATA_EXPORT
int sort_camera_metadata(camera_metadata_t *dst) {
    if (dst == NULL) return ERROR;
    if (dst->flags & FLAG_SORTED) return OK;
    size_t n = dst->entry_count;
    if (n > 16) {
        packet_entry_t *tmp = malloc((n / 2) * sizeof(*tmp));
        if (tmp == NULL) return ERROR;
        sort_entries(entries_of(dst), tmp, n);
        free(tmp);
    } else {
        sort_entries(entries_of(dst), NULL, n);
    }
    dst->flags |= FLAG_SORTED;
    return OK;
}

/* Shared by the getters and find, which would otherwise reach it through the PLT. */
static void read_entry(const camera_metadata_t *src, size_t index, camera_metadata_ro_entry_t *entry) {
    const packet_entry_t *e = entries_of(src) + index;
    entry->index = index;
    entry->tag = e->tag;
    entry->type = e->type;
    entry->count = e->count;
    if (payload_data_bytes(e->type, e->count) != 0) {
        entry->data.u8 = data_of(src) + e->data.offset;
    } else {
        entry->data.u8 = e->data.value;
    }
}

CAMERA_METADATA_EXPORT
int get_camera_metadata_ro_entry(const camera_metadata_t *src, size_t index,
                                 camera_metadata_ro_entry_t *entry) {
    if (src == NULL || entry == NULL || index >= src->entry_count) return ERROR;
    read_entry(src, index, entry);
    return OK;
}

static void to_rw_entry(const camera_metadata_ro_entry_t *ro, camera_metadata_entry_t *entry) {
    entry->index = ro->index;
    entry->tag = ro->tag;
    entry->type = ro->type;
    entry->count = ro->count;
    entry->data.u8 = (uint8_t *)ro->data.u8;
}

CAMERA_METADATA_EXPORT
int get_camera_metadata_entry(camera_metadata_t *src, size_t index,
                              camera_metadata_entry_t *entry) {
    if (src == NULL || entry == NULL || index >= src->entry_count) return ERROR;
    camera_metadata_ro_entry_t ro;
    read_entry(src, index, &ro);
    to_rw_entry(&ro, entry);
    return OK;
}

/*
 * Index of the first entry with the tag. A packet flagged sorted is searched
 * by halves, trusting the flag as the platform does: the probes are those of
 * the C library's bsearch(), so a packet whose flag is false misses exactly
 * the tags the platform misses. A match then steps back over equal tags,
 * which in a sorted packet are its neighbours. Always inlined: a call costs
 * about as much as searching a small packet.
 */
static inline __attribute__((always_inline)) int find_index(const camera_metadata_t *src,
                                                            uint32_t tag, size_t *index) {
    const packet_entry_t *e = entries_of(src);
    size_t n = src->entry_count;
    if (src->flags & FLAG_SORTED) {
        size_t lo = 0;
        while (n != 0) {
            size_t mid = lo + n / 2;
            if (e[mid].tag < tag) {
                lo = mid + 1;
                n = (n - 1) / 2;
            } else if (e[mid].tag > tag) {
                n /= 2;
            } else {
                while (mid > 0 && e[mid - 1].tag == tag) --mid;
                *index = mid;
                return OK;
            }
        }
        return NOT_FOUND;
    }
    /* Four tags per branch; the first match is then found within the four. */
    size_t i = 0;
    while (i + 4 <= n && ((e[i].tag == tag) | (e[i + 1].tag == tag) | (e[i + 2].tag == tag) |
                          (e[i + 3].tag == tag)) == 0) {
        i += 4;
    }
    for (; i < n; ++i) {
        if (e[i].tag == tag) {
            *index = i;
            return OK;
        }
    }
    return NOT_FOUND;
}

CAMERA_METADATA_EXPORT
int find_camera_metadata_ro_entry(const camera_metadata_t *src, uint32_t tag,
                                  camera_metadata_ro_entry_t *entry) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_FIND)) return ERROR;
    if (src == NULL) return ERROR;
    size_t index;
    int res = find_index(src, tag, &index);
    if (res != OK) return res;
    if (entry == NULL) return ERROR;
    read_entry(src, index, entry);
    return OK;
}

CAMERA_METADATA_EXPORT
int find_camera_metadata_entry(camera_metadata_t *src, uint32_t tag,
                               camera_metadata_entry_t *entry) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_FIND)) return ERROR;
    if (src == NULL) return ERROR;
    size_t index;
    int res = find_index(src, tag, &index);
    if (res != OK) return res;
    if (entry == NULL) return ERROR;
    camera_metadata_ro_entry_t ro;
    read_entry(src, index, &ro);
    to_rw_entry(&ro, entry);
    return OK;
}

CAMERA_METADATA_EXPORT
int delete_camera_metadata_entry(camera_metadata_t *dst, size_t index) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_DELETE)) return ERROR;
    if (dst == NULL || index >= dst->entry_count) return ERROR;
    packet_entry_t *entry = entries_of(dst) + index;
    uint64_t bytes = payload_data_bytes(entry->type, entry->count);
    if (bytes != 0) {
        if (!payload_in_use(dst, entry, bytes)) return ERROR;
        if (payload_shared(dst, index, entry->data.offset, bytes)) return ERROR;
        remove_data(dst, entry->data.offset, (uint32_t)bytes);
    }
    memmove(entry, entry + 1, (dst->entry_count - index - 1) * ENTRY_SIZE);
    dst->entry_count--;
    memset(entries_of(dst) + dst->entry_count, 0, ENTRY_SIZE);
    return OK;
}

CAMERA_METADATA_EXPORT
int update_camera_metadata_entry(camera_metadata_t *dst, size_t index, const void *data,
                                 size_t data_count, camera_metadata_entry_t *updated_entry) {
    if (cm_fault_operation(CAMERA_METADATA_FAULT_UPDATE)) return ERROR;
    if (dst == NULL || index >= dst->entry_count) return ERROR;
    if ((data_count != 0 && data == NULL) || data_count > UINT32_MAX) return ERROR;
    packet_entry_t *entry = entries_of(dst) + index;
    if (entry->type >= NUM_TYPES || dst->data_count > dst->data_capacity) return ERROR;

    uint64_t payload = (uint64_t)data_count * kTypeSize[entry->type];
    uint64_t new_bytes = payload_data_bytes(entry->type, data_count);
    uint64_t old_bytes = payload_data_bytes(entry->type, entry->count);
    if (old_bytes != 0 && !payload_in_use(dst, entry, old_bytes)) return ERROR;
    if (new_bytes != old_bytes && old_bytes != 0 &&
        payload_shared(dst, index, entry->data.offset, old_bytes)) {
        return ERROR;
    }
    if (new_bytes > old_bytes && new_bytes - old_bytes > dst->data_capacity - dst->data_count) {
        return ERROR;
    }

    /* The new values may come from this very packet, which is about to move. */
    void *staged = NULL;
    const uint8_t *packet = (const uint8_t *)dst;
    const uint8_t *from = (const uint8_t *)data;
    if (new_bytes != old_bytes && payload != 0 && from < packet + dst->size &&
        from + payload > packet) {
        staged = malloc(payload);
        if (staged == NULL) return ERROR;
        memcpy(staged, data, payload);
        data = staged;
    }

    if (new_bytes != old_bytes) {
        if (old_bytes != 0) remove_data(dst, entry->data.offset, (uint32_t)old_bytes);
        if (new_bytes != 0) {
            entry->data.offset = dst->data_count;
            dst->data_count += (uint32_t)new_bytes;
        }
    }
    if (new_bytes != 0) {
        write_payload(data_of(dst) + entry->data.offset, data, payload, new_bytes);
    } else {
        write_inline(entry, data, payload);
    }
    entry->count = (uint32_t)data_count;
    free(staged);

    if (updated_entry != NULL) get_camera_metadata_entry(dst, index, updated_entry);
    return OK;
}

CAMERA_METADATA_EXPORT
int camera_metadata_enum_snprint(uint32_t tag, uint32_t value, char *dst, size_t size) {
    const char *text = "error: not an enum";
    int res = -1;
    const struct cm_tag_info *info = standard_tag(tag);
    if (info != NULL && info->enum_count != 0) {
        text = "error: enum value out of range";
        for (size_t i = 0; i < info->enum_count; ++i) {
            if (info->enums[i].value == value) {
                text = info->enums[i].label;
                res = 0;
                break;
            }
        }
    }
    if (dst != NULL && size != 0) {
        strncpy(dst, text, size - 1);
        dst[size - 1] = '\0';
    }
    return res;
}

CAMERA_METADATA_EXPORT
int camera_metadata_enum_value(uint32_t tag, const char *name, size_t size, uint32_t *value) {
    if (name == NULL || value == NULL) return -1;
    const struct cm_tag_info *info = standard_tag(tag);
    for (size_t i = 0; info != NULL && i < info->enum_count; ++i) {
        /* At most size characters: a shorter name matches a label it begins. */
        if (strncmp(info->enums[i].label, name, size) == 0) {
            *value = info->enums[i].value;
            return 0;
        }
    }
    return -1;
}

static const int32_t kPermissionNeeded[] = {
    ANDROID_LENS_POSE_ROTATION,
    ANDROID_LENS_POSE_TRANSLATION,
    ANDROID_LENS_INTRINSIC_CALIBRATION,
    ANDROID_LENS_RADIAL_DISTORTION,
    ANDROID_LENS_POSE_REFERENCE,
    ANDROID_LENS_DISTORTION,
    ANDROID_LENS_INFO_HYPERFOCAL_DISTANCE,
    ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE,
    ANDROID_SENSOR_REFERENCE_ILLUMINANT1,
    ANDROID_SENSOR_REFERENCE_ILLUMINANT2,
    ANDROID_SENSOR_CALIBRATION_TRANSFORM1,
    ANDROID_SENSOR_CALIBRATION_TRANSFORM2,
    ANDROID_SENSOR_COLOR_TRANSFORM1,
    ANDROID_SENSOR_COLOR_TRANSFORM2,
    ANDROID_SENSOR_FORWARD_MATRIX1,
    ANDROID_SENSOR_FORWARD_MATRIX2,
};

CAMERA_METADATA_EXPORT
const int32_t *get_camera_metadata_permission_needed(uint32_t *tag_count) {
    if (tag_count == NULL) return NULL;
    *tag_count = sizeof(kPermissionNeeded) / sizeof(kPermissionNeeded[0]);
    return kPermissionNeeded;
}

static const vendor_tag_cache_ops_t *cache_ops_for(metadata_vendor_id_t id) {
    if (id == CAMERA_METADATA_INVALID_VENDOR_ID) return NULL;
    return atomic_load_explicit(&g_vendor_cache_ops, memory_order_acquire);
}

static const vendor_tag_ops_t *vendor_ops(void) {
    return atomic_load_explicit(&g_vendor_ops, memory_order_acquire);
}

static metadata_vendor_id_t vendor_id_of(const camera_metadata_t *meta) {
    return meta == NULL ? CAMERA_METADATA_INVALID_VENDOR_ID : meta->vendor_id;
}

CAMERA_METADATA_EXPORT
const char *get_local_camera_metadata_section_name_vendor_id(uint32_t tag,
                                                             metadata_vendor_id_t id) {
    uint32_t section = tag >> 16;
    if (section >= VENDOR_SECTION) {
        const vendor_tag_cache_ops_t *cache = cache_ops_for(id);
        if (cache != NULL) return cache->get_section_name ? cache->get_section_name(tag, id) : NULL;
        const vendor_tag_ops_t *ops = vendor_ops();
        if (ops != NULL) return ops->get_section_name ? ops->get_section_name(ops, tag) : NULL;
        return NULL;
    }
    return section < ANDROID_SECTION_COUNT ? cm_sections[section].name : NULL;
}

CAMERA_METADATA_EXPORT
const char *get_local_camera_metadata_tag_name_vendor_id(uint32_t tag, metadata_vendor_id_t id) {
    if ((tag >> 16) >= VENDOR_SECTION) {
        const vendor_tag_cache_ops_t *cache = cache_ops_for(id);
        if (cache != NULL) return cache->get_tag_name ? cache->get_tag_name(tag, id) : NULL;
        const vendor_tag_ops_t *ops = vendor_ops();
        if (ops != NULL) return ops->get_tag_name ? ops->get_tag_name(ops, tag) : NULL;
        return NULL;
    }
    const struct cm_tag_info *info = standard_tag(tag);
    return info != NULL ? info->name : NULL;
}

/* Add looks up every tag; not through the exported symbol, which is a PLT call. */
static int tag_type(uint32_t tag, metadata_vendor_id_t id) {
    if ((tag >> 16) >= VENDOR_SECTION) {
        const vendor_tag_cache_ops_t *cache = cache_ops_for(id);
        if (cache != NULL) return cache->get_tag_type ? cache->get_tag_type(tag, id) : -1;
        const vendor_tag_ops_t *ops = vendor_ops();
        if (ops != NULL) return ops->get_tag_type ? ops->get_tag_type(ops, tag) : -1;
        return -1;
    }
    const struct cm_tag_info *info = standard_tag(tag);
    return info != NULL ? info->type : -1;
}

CAMERA_METADATA_EXPORT
int get_local_camera_metadata_tag_type_vendor_id(uint32_t tag, metadata_vendor_id_t id) {
    return tag_type(tag, id);
}

CAMERA_METADATA_EXPORT
const char *get_local_camera_metadata_section_name(uint32_t tag, const camera_metadata_t *meta) {
    return get_local_camera_metadata_section_name_vendor_id(tag, vendor_id_of(meta));
}

CAMERA_METADATA_EXPORT
const char *get_local_camera_metadata_tag_name(uint32_t tag, const camera_metadata_t *meta) {
    return get_local_camera_metadata_tag_name_vendor_id(tag, vendor_id_of(meta));
}

CAMERA_METADATA_EXPORT
int get_local_camera_metadata_tag_type(uint32_t tag, const camera_metadata_t *meta) {
    return get_local_camera_metadata_tag_type_vendor_id(tag, vendor_id_of(meta));
}

CAMERA_METADATA_EXPORT
const char *get_camera_metadata_section_name(uint32_t tag) {
    return get_local_camera_metadata_section_name(tag, NULL);
}

CAMERA_METADATA_EXPORT
const char *get_camera_metadata_tag_name(uint32_t tag) {
    return get_local_camera_metadata_tag_name(tag, NULL);
}

CAMERA_METADATA_EXPORT
int get_camera_metadata_tag_type(uint32_t tag) {
    return get_local_camera_metadata_tag_type(tag, NULL);
}

CAMERA_METADATA_EXPORT
int set_camera_metadata_vendor_tag_ops(const vendor_tag_query_ops_t *query_ops) {
    (void)query_ops;
    return ERROR;
}

CAMERA_METADATA_EXPORT
int set_camera_metadata_vendor_ops(const vendor_tag_ops_t *query_ops) {
    atomic_store_explicit(&g_vendor_ops, query_ops, memory_order_release);
    return OK;
}

CAMERA_METADATA_EXPORT
int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops *query_cache_ops) {
    atomic_store_explicit(&g_vendor_cache_ops, query_cache_ops, memory_order_release);
    return OK;
}

CAMERA_METADATA_EXPORT
void set_camera_metadata_vendor_id(camera_metadata_t *meta, metadata_vendor_id_t id) {
    if (meta != NULL) meta->vendor_id = id;
}

CAMERA_METADATA_EXPORT
metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t *meta) {
    return vendor_id_of(meta);
}

/* A byte or int32 value by its label when the tag names it. */
static bool print_label(int fd, uint32_t tag, uint32_t value) {
    char label[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    if (camera_metadata_enum_snprint(tag, value, label, sizeof(label)) != OK) return false;
    dprintf(fd, "%s ", label);
    return true;
}

static void print_values(int fd, uint32_t tag, const uint8_t *data, uint8_t type, uint32_t count,
                         int indentation) {
    static const uint32_t kValuesPerLine[NUM_TYPES] = {16, 4, 8, 2, 4, 2};
    const uint32_t per_line = kValuesPerLine[type];
    const size_t size = kTypeSize[type];
    uint32_t printed = 0;
    while (printed < count) {
        dprintf(fd, "%*s[", indentation + 4, "");
        for (uint32_t k = 0; k < per_line && printed < count; ++k, ++printed, data += size) {
            int32_t i32[2];
            int64_t i64;
            float f;
            double d;
            switch (type) {
                case TYPE_BYTE:
                    if (!print_label(fd, tag, *data)) dprintf(fd, "%hhu ", *data);
                    break;
                case TYPE_INT32:
                    memcpy(i32, data, 4);
                    if (!print_label(fd, tag, (uint32_t)i32[0])) dprintf(fd, "%" PRId32 " ", i32[0]);
                    break;
                case TYPE_FLOAT:
                    memcpy(&f, data, sizeof(f));
                    dprintf(fd, "%0.8f ", (double)f);
                    break;
                case TYPE_INT64:
                    memcpy(&i64, data, sizeof(i64));
                    dprintf(fd, "%" PRId64 " ", i64);
                    break;
                case TYPE_DOUBLE:
                    memcpy(&d, data, sizeof(d));
                    dprintf(fd, "%0.8f ", d);
                    break;
                default:
                    memcpy(i32, data, sizeof(i32));
                    dprintf(fd, "(%" PRId32 " / %" PRId32 ") ", i32[0], i32[1]);
                    break;
            }
        }
        dprintf(fd, "]\n");
    }
}

CAMERA_METADATA_EXPORT
void dump_indented_camera_metadata(const camera_metadata_t *metadata, int fd, int verbosity,
                                   int indentation) {
    if (metadata == NULL) {
        dprintf(fd, "%*sDumping camera metadata array: Not allocated\n", indentation, "");
        return;
    }
    dprintf(fd,
            "%*sDumping camera metadata array: %" PRIu32 " / %" PRIu32 " entries, %" PRIu32
            " / %" PRIu32 " bytes of extra data.\n",
            indentation, "", metadata->entry_count, metadata->entry_capacity,
            metadata->data_count, metadata->data_capacity);
    dprintf(fd, "%*sVersion: %" PRIu32 ", Flags: %08" PRIx32 "\n", indentation + 2, "",
            metadata->version, metadata->flags);

    const packet_entry_t *e = entries_of(metadata);
    for (uint32_t i = 0; i < metadata->entry_count; ++i, ++e) {
        const char *section = get_local_camera_metadata_section_name(e->tag, metadata);
        const char *name = get_local_camera_metadata_tag_name(e->tag, metadata);
        dprintf(fd, "%*s%s.%s (%05" PRIx32 "): %s[%" PRIu32 "]\n", indentation + 2, "",
                section != NULL ? section : "unknownSection", name != NULL ? name : "unknownTag",
                e->tag, e->type < NUM_TYPES ? kTypeName[e->type] : "unknown", e->count);
        if (verbosity < 1 || e->type >= NUM_TYPES) continue;

        uint64_t bytes = payload_data_bytes(e->type, e->count);
        const uint8_t *values = e->data.value;
        if (bytes != 0) {
            if (!payload_in_use(metadata, e, bytes)) continue;
            values = data_of(metadata) + e->data.offset;
        }
        uint32_t count = e->count;
        if (verbosity < 2 && count > 16) count = 16;
        print_values(fd, e->tag, values, e->type, count, indentation);
    }
}

CAMERA_METADATA_EXPORT
void dump_camera_metadata(const camera_metadata_t *metadata, int fd, int verbosity) {
    dump_indented_camera_metadata(metadata, fd, verbosity, 0);
}

/*
 * Camera metadata calls that are not part of the public NDK surface:
 * installing the vendor tag callbacks and vendor ids of buffers.
 */
#ifndef CAMERA_METADATA_HIDDEN_H
#define CAMERA_METADATA_HIDDEN_H

#include <system/camera_metadata.h>
#include <system/camera_vendor_tags.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Installs the process-wide vendor tag callbacks; NULL removes them. The
 * table must stay valid while installed. Returns 0.
 */
int set_camera_metadata_vendor_ops(const vendor_tag_ops_t *query_ops);

/*
 * Installs the per-vendor-id callbacks, consulted instead of the table above
 * for buffers that carry a vendor id. Returns 0.
 */
int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops *query_cache_ops);

/* Tags the buffer with a vendor id; a NULL buffer is ignored. */
void set_camera_metadata_vendor_id(camera_metadata_t *meta, metadata_vendor_id_t id);

/* The buffer's vendor id, CAMERA_METADATA_INVALID_VENDOR_ID for none or NULL. */
metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t *meta);

/* Name and type lookups through the callbacks of one vendor id. */
const char *get_local_camera_metadata_section_name_vendor_id(uint32_t tag,
                                                             metadata_vendor_id_t id);
const char *get_local_camera_metadata_tag_name_vendor_id(uint32_t tag, metadata_vendor_id_t id);
int get_local_camera_metadata_tag_type_vendor_id(uint32_t tag, metadata_vendor_id_t id);

#ifdef __cplusplus
}
#endif

#endif /* CAMERA_METADATA_HIDDEN_H */

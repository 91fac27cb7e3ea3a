/*
 * Camera metadata calls that are not part of the public surface: installing
 * the vendor tag callbacks and vendor ids of buffers.
 *
 * As on the device, this header is not self-contained: it includes only
 * <system/camera_vendor_tags.h> and relies on <system/camera_metadata.h>
 * (camera_metadata_t, ANDROID_API) having been included before it.
 */
#ifndef CAMERA_METADATA_HIDDEN_H
#define CAMERA_METADATA_HIDDEN_H

#include <system/camera_vendor_tags.h>

/* What vendor tag callbacks answer for a tag they do not know. */
#define VENDOR_SECTION_NAME_ERR NULL
#define VENDOR_TAG_NAME_ERR NULL
#define VENDOR_TAG_COUNT_ERR (-1)
#define VENDOR_TAG_TYPE_ERR (-1)

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Installs the process-wide vendor tag callbacks; NULL removes them. The
 * table must stay valid while installed. Returns 0.
 */
ANDROID_API
int set_camera_metadata_vendor_ops(const vendor_tag_ops_t *query_ops);

/*
 * Installs the per-vendor-id callbacks, consulted instead of the table above
 * for buffers that carry a vendor id. Returns 0.
 */
ANDROID_API
int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops *query_cache_ops);

/* Tags the buffer with a vendor id; a NULL buffer is ignored. */
ANDROID_API
void set_camera_metadata_vendor_id(camera_metadata_t *meta, metadata_vendor_id_t id);

/* The buffer's vendor id, CAMERA_METADATA_INVALID_VENDOR_ID for none or NULL. */
ANDROID_API
metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t *meta);

/* Name and type lookups through the callbacks of one vendor id. */
ANDROID_API
int get_local_camera_metadata_tag_type_vendor_id(uint32_t tag, metadata_vendor_id_t id);
ANDROID_API
const char *get_local_camera_metadata_tag_name_vendor_id(uint32_t tag, metadata_vendor_id_t id);
ANDROID_API
const char *get_local_camera_metadata_section_name_vendor_id(uint32_t tag,
                                                             metadata_vendor_id_t id);

#ifdef __cplusplus
}
#endif

#endif /* CAMERA_METADATA_HIDDEN_H */

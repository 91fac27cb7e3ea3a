/*
 * Host only: makes the host camera metadata library fail on demand, so that
 * tests reach the failure paths of its callers. Nothing fails unless armed;
 * arming and the library's checks are thread-safe. Not part of the
 * platform's library and not installed.
 */
#ifndef CAMERA_METADATA_FAULT_H
#define CAMERA_METADATA_FAULT_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum camera_metadata_fault_op {
    CAMERA_METADATA_FAULT_ADD,    /* add_camera_metadata_entry */
    CAMERA_METADATA_FAULT_UPDATE, /* update_camera_metadata_entry */
    CAMERA_METADATA_FAULT_DELETE, /* delete_camera_metadata_entry */
    CAMERA_METADATA_FAULT_APPEND, /* append_camera_metadata */
    CAMERA_METADATA_FAULT_FIND,   /* find_camera_metadata_entry, find_camera_metadata_ro_entry */
    CAMERA_METADATA_FAULT_OP_COUNT
} camera_metadata_fault_op_t;

/* The next n (below 2^24) calls of allocate_camera_metadata, clones included, return NULL. */
void camera_metadata_fail_allocations(unsigned int n);

/* The next call of op returns 1 (error) and changes nothing. */
void camera_metadata_fail_once(camera_metadata_fault_op_t op);

/* Disarms everything still armed. */
void camera_metadata_fault_reset(void);

#ifdef __cplusplus
}
#else
#include <stdatomic.h>

/*
 * The library's own checks, not exported: each consumes what it reports.
 * Disarmed, a check is one relaxed load of cm_fault_armed (bits 0-4: the
 * operations armed, bit 8 up: allocations still to fail).
 */
extern atomic_uint cm_fault_armed;
bool cm_fault_take_allocation(void);
bool cm_fault_take_operation(camera_metadata_fault_op_t op);

static inline bool cm_fault_allocation(void) {
    return atomic_load_explicit(&cm_fault_armed, memory_order_relaxed) != 0 && cm_fault_take_allocation();
}

static inline bool cm_fault_operation(camera_metadata_fault_op_t op) {
    return atomic_load_explicit(&cm_fault_armed, memory_order_relaxed) != 0 && cm_fault_take_operation(op);
}
#endif

#endif /* CAMERA_METADATA_FAULT_H */

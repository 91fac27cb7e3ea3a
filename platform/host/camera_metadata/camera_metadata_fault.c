/* Host only: failures on demand (fault/camera_metadata_fault.h). */
#include "fault/camera_metadata_fault.h"

#include "camera_metadata_tag_table.h"

#include <stdatomic.h>

/* Disarmed, each check is one relaxed load. */
static atomic_uint g_allocations; /* failures still to give */
static atomic_uint g_operations;  /* one bit per armed operation */

CAMERA_METADATA_EXPORT
void camera_metadata_fail_allocations(unsigned int n) {
    atomic_store_explicit(&g_allocations, n, memory_order_relaxed);
}

CAMERA_METADATA_EXPORT
void camera_metadata_fail_once(camera_metadata_fault_op_t op) {
    if ((unsigned)op < CAMERA_METADATA_FAULT_OP_COUNT) {
        atomic_fetch_or_explicit(&g_operations, 1u << op, memory_order_relaxed);
    }
}

CAMERA_METADATA_EXPORT
void camera_metadata_fault_reset(void) {
    atomic_store_explicit(&g_allocations, 0, memory_order_relaxed);
    atomic_store_explicit(&g_operations, 0, memory_order_relaxed);
}

bool cm_fault_allocation(void) {
    unsigned int n = atomic_load_explicit(&g_allocations, memory_order_relaxed);
    while (n != 0) {
        if (atomic_compare_exchange_weak_explicit(&g_allocations, &n, n - 1, memory_order_relaxed,
                                                  memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

bool cm_fault_operation(camera_metadata_fault_op_t op) {
    const unsigned int bit = 1u << op;
    if ((atomic_load_explicit(&g_operations, memory_order_relaxed) & bit) == 0) return false;
    return (atomic_fetch_and_explicit(&g_operations, ~bit, memory_order_relaxed) & bit) != 0;
}

/* Host only: failures on demand (fault/camera_metadata_fault.h). */
#include "fault/camera_metadata_fault.h"

#include "camera_metadata_tag_table.h"

#define OPERATION_BITS 0xFFu
#define ONE_ALLOCATION (1u << 8)

atomic_uint cm_fault_armed;

CAMERA_METADATA_EXPORT
void camera_metadata_fail_allocations(unsigned int n) {
    unsigned int armed = atomic_load_explicit(&cm_fault_armed, memory_order_relaxed);
    while (!atomic_compare_exchange_weak_explicit(&cm_fault_armed, &armed,
                                                  (armed & OPERATION_BITS) | n * ONE_ALLOCATION,
                                                  memory_order_relaxed, memory_order_relaxed)) {
    }
}

CAMERA_METADATA_EXPORT
void camera_metadata_fail_once(camera_metadata_fault_op_t op) {
    if ((unsigned int)op < CAMERA_METADATA_FAULT_OP_COUNT) {
        atomic_fetch_or_explicit(&cm_fault_armed, 1u << op, memory_order_relaxed);
    }
}

CAMERA_METADATA_EXPORT
void camera_metadata_fault_reset(void) {
    atomic_store_explicit(&cm_fault_armed, 0, memory_order_relaxed);
}

bool cm_fault_take_allocation(void) {
    unsigned int armed = atomic_load_explicit(&cm_fault_armed, memory_order_relaxed);
    while (armed >= ONE_ALLOCATION) {
        if (atomic_compare_exchange_weak_explicit(&cm_fault_armed, &armed, armed - ONE_ALLOCATION,
                                                  memory_order_relaxed, memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

bool cm_fault_take_operation(camera_metadata_fault_op_t op) {
    const unsigned int bit = 1u << op;
    return (atomic_fetch_and_explicit(&cm_fault_armed, ~bit, memory_order_relaxed) & bit) != 0;
}

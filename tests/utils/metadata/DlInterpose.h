/*
 * Test executables that link dl_interpose.c see every dlopen/dlclose of
 * "libcamera_metadata.so" made in the process, and can make it fail.
 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum dl_interpose_mode {
    DL_PASS = 0,          /* open the library as asked */
    DL_OPEN_FAILS = 1,    /* fail with the loader's own error text */
    DL_OPEN_SILENT = 2,   /* fail without any loader error pending */
    DL_OPEN_OTHER = 3,    /* open a library that lacks the installer */
};

/* Set before the first getAllVendorTags(). */
extern enum dl_interpose_mode dl_mode;

/* What happened to "libcamera_metadata.so". */
extern int dl_open_calls;
extern int dl_open_flags;
extern void* dl_open_handle;
extern int dl_close_calls; /* dlclose() of dl_open_handle */

/* Name dlopen() is redirected to in DL_OPEN_FAILS / DL_OPEN_OTHER mode. */
#define DL_MISSING_LIBRARY "libcamera_metadata_absent.so"
#define DL_OTHER_LIBRARY "libtamo_log_control.so"

#ifdef __cplusplus
}
#endif

/*
 * Definitions of dlopen/dlclose in the test executable take precedence over
 * the C library's for every object of the process; other names pass through.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stddef.h>
#include <string.h>

#include "DlInterpose.h"

enum dl_interpose_mode dl_mode = DL_PASS;
int dl_open_calls;
int dl_open_flags;
void* dl_open_handle;
int dl_close_calls;

typedef void* (*open_fn)(const char*, int);
typedef int (*close_fn)(void*);

static open_fn real_open(void)
{
    static open_fn fn;
    if (fn == NULL)
        fn = (open_fn)dlsym(RTLD_NEXT, "dlopen");
    return fn;
}

static close_fn real_close(void)
{
    static close_fn fn;
    if (fn == NULL)
        fn = (close_fn)dlsym(RTLD_NEXT, "dlclose");
    return fn;
}

void* dlopen(const char* file, int flags)
{
    if (file == NULL || strcmp(file, "libcamera_metadata.so") != 0)
        return real_open()(file, flags);
    dl_open_calls++;
    dl_open_flags = flags;
    void* handle = NULL;
    switch (dl_mode) {
    case DL_PASS:
        handle = real_open()(file, flags);
        break;
    case DL_OPEN_FAILS:
        handle = real_open()(DL_MISSING_LIBRARY, flags);
        break;
    case DL_OPEN_SILENT:
        dlerror();
        break;
    case DL_OPEN_OTHER:
        handle = real_open()(DL_OTHER_LIBRARY, flags);
        break;
    }
    dl_open_handle = handle;
    return handle;
}

int dlclose(void* handle)
{
    if (handle == dl_open_handle)
        dl_close_calls++;
    return real_close()(handle);
}

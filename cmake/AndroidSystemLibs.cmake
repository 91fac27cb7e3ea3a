# Debian's builds of the Android platform's libcutils (native_handle) and
# libutils (sp, RefBase) live under their own directories.
set(_android_libdir /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)

find_path(ANDROID_SYSTEM_INCLUDE_DIR cutils/native_handle.h
  PATHS /usr/include/android REQUIRED)
find_library(ANDROID_CUTILS_LIBRARY cutils PATHS ${_android_libdir} NO_DEFAULT_PATH REQUIRED)
find_library(ANDROID_UTILS_LIBRARY utils PATHS ${_android_libdir} NO_DEFAULT_PATH REQUIRED)

if(NOT TARGET android::cutils)
  add_library(android::cutils SHARED IMPORTED GLOBAL)
  set_target_properties(android::cutils PROPERTIES
    IMPORTED_LOCATION ${ANDROID_CUTILS_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_SYSTEM_INCLUDE_DIR})
  add_library(android::utils SHARED IMPORTED GLOBAL)
  set_target_properties(android::utils PROPERTIES
    IMPORTED_LOCATION ${ANDROID_UTILS_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_SYSTEM_INCLUDE_DIR}
    INTERFACE_LINK_LIBRARIES android::cutils)
endif()

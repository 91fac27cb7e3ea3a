# Builds for aarch64-linux-android30 as the platform builds a vendor module:
# clang with bionic's headers and start objects from the Android 11
# userspace, the platform's libc++ headers, no exceptions, position
# independent code, ld.lld, and every library resolved at link time (-z defs)
# against the platform's own arm64 libraries. Programs run through that
# userspace's run.sh (qemu-aarch64-static with bionic's linker).
#
# TAMO_DEVICE_DIR: the folder with vndk-v30/ and android-11/ (default: the
# environment's TAMO_DEVICE_DIR, else shared/device beside the checkout).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(TAMO_ANDROID ON CACHE BOOL "Build for the Android 11 platform" FORCE)

if(NOT TAMO_DEVICE_DIR)
  if(DEFINED ENV{TAMO_DEVICE_DIR})
    set(TAMO_DEVICE_DIR $ENV{TAMO_DEVICE_DIR})
  else()
    get_filename_component(TAMO_DEVICE_DIR ${CMAKE_CURRENT_LIST_DIR}/../../../shared/device ABSOLUTE)
  endif()
endif()
set(TAMO_DEVICE_DIR ${TAMO_DEVICE_DIR} CACHE PATH "Platform headers, libraries and userspace" FORCE)
if(NOT EXISTS ${TAMO_DEVICE_DIR}/android-11/run.sh)
  message(FATAL_ERROR "no Android 11 userspace at ${TAMO_DEVICE_DIR}/android-11 (set TAMO_DEVICE_DIR)")
endif()
set(_userspace ${TAMO_DEVICE_DIR}/android-11)
set(_vndk ${TAMO_DEVICE_DIR}/vndk-v30/arm64)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-android30)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-android30)
set(CMAKE_SYSROOT ${_userspace}/sysroot)

# Android 11's clang inlines atomics; newer ones call helpers the platform's
# runtime does not have.
set(CMAKE_C_FLAGS_INIT "-mno-outline-atomics -fPIC")
set(CMAKE_CXX_FLAGS_INIT "-mno-outline-atomics -fPIC -fno-exceptions -nostdinc++ \
-isystem ${_vndk}/include/external/libcxx/include -isystem ${_vndk}/include/external/libcxxabi/include")

# bionic's start and end objects around everything; the platform's libc++.
set(_libdirs "-L${_vndk}/arch-arm64-armv8-a/shared/vndk-core -L${_vndk}/arch-arm64-armv8-a/shared/vndk-sp \
-L${_userspace}/rootfs/system/lib64")
# The platform's libc++ calls the compiler runtime's 128-bit float helpers,
# which a device's toolchain links from its builtins: the cross GCC's libgcc.
set(TAMO_ANDROID_BUILTINS /usr/lib/gcc-cross/aarch64-linux-gnu/12/libgcc.a CACHE FILEPATH "")
set(_runtime "-lc++ -lc -lm -ldl ${TAMO_ANDROID_BUILTINS}")
foreach(lang C CXX)
  set(CMAKE_${lang}_CREATE_SHARED_LIBRARY
      "<CMAKE_${lang}_COMPILER> --target=aarch64-linux-android30 -fuse-ld=lld -nostdlib -shared -Wl,-z,defs -Wl,--exclude-libs,libgcc.a <LINK_FLAGS> <SONAME_FLAG><TARGET_SONAME> -o <TARGET> ${_userspace}/lib/crtbegin_so.o <OBJECTS> ${_libdirs} <LINK_LIBRARIES> ${_runtime} ${_userspace}/lib/crtend_so.o")
  set(CMAKE_${lang}_LINK_EXECUTABLE
      "<CMAKE_${lang}_COMPILER> --target=aarch64-linux-android30 -fuse-ld=lld -nostdlib -pie -Wl,--dynamic-linker=/system/bin/linker64 <LINK_FLAGS> -o <TARGET> ${_userspace}/lib/crtbegin_dynamic.o <OBJECTS> ${_libdirs} <LINK_LIBRARIES> ${_runtime} ${_userspace}/lib/crtend_android.o")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR ${_userspace}/run.sh)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

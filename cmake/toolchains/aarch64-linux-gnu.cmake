# 64-bit Arm Linux with Debian's cross compiler, against Debian's arm64
# multiarch libraries; executables (tests, test discovery, the tool spawned
# by its test) run under qemu-aarch64 user-mode emulation, no binfmt needed.
# scripts/deps-arm64.sh installs everything named here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# The toolchain's own files are under /usr/aarch64-linux-gnu, but Debian
# puts arm64 -dev packages under / (/usr/lib/aarch64-linux-gnu,
# /usr/include/android): both are roots.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's arm64 libbacktrace (under libutils) needs the arm64 7z.so, which
# cannot be installed beside the host's and is unpacked aside; its RUNPATH
# names /usr/lib/p7zip, where the host's copy is.
set(TAMO_P7ZIP_ARM64_DIR /opt/p7zip-arm64 CACHE PATH "Directory of the unpacked arm64 7z.so")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${TAMO_P7ZIP_ARM64_DIR}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${TAMO_P7ZIP_ARM64_DIR}")

# No loader prefix: -L /usr/aarch64-linux-gnu (or QEMU_LD_PREFIX) would load
# the cross toolchain's ld.so beside the multiarch libc, and threads then
# hang in pthread_create. "-L /" is no prefix at all and overrides a
# QEMU_LD_PREFIX left in the environment.
find_program(TAMO_QEMU_AARCH64 qemu-aarch64-static)
if(NOT TAMO_QEMU_AARCH64 OR NOT EXISTS ${TAMO_P7ZIP_ARM64_DIR}/7z.so)
  message(FATAL_ERROR "qemu-aarch64-static or ${TAMO_P7ZIP_ARM64_DIR}/7z.so missing: run scripts/deps-arm64.sh")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${TAMO_QEMU_AARCH64} -L / -E LD_LIBRARY_PATH=${TAMO_P7ZIP_ARM64_DIR})

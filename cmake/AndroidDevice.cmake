# The device build (cmake/toolchains/aarch64-linux-android30.cmake): the
# platform's libraries as imported targets, with the headers each exports,
# then the framework's libtamo_platform and libtamo_log_control from their
# sources and libtamo_utils from Android.bp's own source list. Nothing else
# of platform/host/ is built: the rest is the platform's.
set(_vndk ${TAMO_DEVICE_DIR}/vndk-v30/arm64)

# What the snapshot's Android.bp says the libraries below export (libui's
# list covers libcutils, libutils, libhidlbase and mapper 4.0's), with
# libcamera_metadata's and mappers 2.0 and 3.0 added.
set(_gen out/soong/.intermediates)
set(_exported
  frameworks/native/libs/ui/include frameworks/native/libs/ui/include_private
  system/core/base/include frameworks/native/libs/nativebase/include
  frameworks/native/libs/nativewindow/include hardware/libhardware/include system/media/audio/include
  system/core/libcutils/include_vndk system/core/libsystem/include system/bt/types
  frameworks/native/libs/ui/include_vndk frameworks/native/libs/arect/include
  frameworks/native/libs/math/include frameworks/native/libs/binder/ndk/include_ndk
  frameworks/native/libs/binder/ndk/include_platform
  ${_gen}/hardware/interfaces/common/aidl/android.hardware.common-ndk_platform-source/gen/include
  ${_gen}/hardware/interfaces/graphics/common/aidl/android.hardware.graphics.common-ndk_platform-source/gen/include
  system/libhidl/base/include system/libhidl/transport/include system/libhwbinder/include
  external/fmtlib/include system/core/libutils/include system/core/libbacktrace/include
  system/core/liblog/include_vndk system/core/libprocessgroup/include system/core/libcutils/include
  ${_gen}/system/libhidl/transport/manager/1.0/android.hidl.manager@1.0_genc++_headers/gen
  ${_gen}/system/libhidl/transport/manager/1.1/android.hidl.manager@1.1_genc++_headers/gen
  ${_gen}/system/libhidl/transport/manager/1.2/android.hidl.manager@1.2_genc++_headers/gen
  ${_gen}/system/libhidl/transport/base/1.0/android.hidl.base@1.0_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/common/1.0/android.hardware.graphics.common@1.0_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/common/1.1/android.hardware.graphics.common@1.1_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/common/1.2/android.hardware.graphics.common@1.2_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/mapper/2.0/android.hardware.graphics.mapper@2.0_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/mapper/3.0/android.hardware.graphics.mapper@3.0_genc++_headers/gen
  ${_gen}/hardware/interfaces/graphics/mapper/4.0/android.hardware.graphics.mapper@4.0_genc++_headers/gen
  frameworks/native/libs/gralloc/types/include
  system/media/camera/include)
list(TRANSFORM _exported PREPEND ${_vndk}/include/)
add_library(android_platform_headers INTERFACE)
target_include_directories(android_platform_headers SYSTEM INTERFACE ${_exported})

function(tamo_platform_library name file)
  find_file(_path_${name} ${file} PATHS ${_vndk}/arch-arm64-armv8-a/shared/vndk-core
            ${_vndk}/arch-arm64-armv8-a/shared/vndk-sp ${TAMO_DEVICE_DIR}/android-11/rootfs/system/lib64
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  add_library(android::${name} SHARED IMPORTED GLOBAL)
  set_target_properties(android::${name} PROPERTIES IMPORTED_LOCATION ${_path_${name}}
                        INTERFACE_LINK_LIBRARIES android_platform_headers)
endfunction()

foreach(lib log cutils utils camera_metadata ui hidlbase)
  tamo_platform_library(${lib} lib${lib}.so)
endforeach()
foreach(version 2.0 3.0 4.0)
  tamo_platform_library(mapper${version} android.hardware.graphics.mapper@${version}.so)
endforeach()

# The framework's own libraries, from the project's sources.
add_library(tamo_log_control SHARED platform/host/log/log_control.cpp)
add_library(tamo::log_control ALIAS tamo_log_control)
target_include_directories(tamo_log_control PUBLIC ${PROJECT_SOURCE_DIR}/platform/host/log/include)
target_link_libraries(tamo_log_control PRIVATE tamo_warnings)

# The platform's cameras are made from their JSON descriptions by a host
# program, built here with the host's compiler before anything else.
set(_host ${CMAKE_BINARY_DIR}/host)
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${_host} -G Ninja -DCMAKE_BUILD_TYPE=Release
          -DTAMO_CAMERA_PACKETS_ONLY=ON -DTAMO_WERROR=${TAMO_WERROR}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${_host} --target tamo_camera_packets
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
set(TAMO_CAMERA_PACKETS ${_host}/tools/tamo/tamo_camera_packets)
include(${PROJECT_SOURCE_DIR}/platform/host/platform/HostCameras.cmake)

file(GLOB _platform_sources ${PROJECT_SOURCE_DIR}/platform/host/platform/*.cpp)
add_library(tamo_platform SHARED ${_platform_sources} ${TAMO_HOST_CAMERA_SOURCE})
add_library(tamo::platform ALIAS tamo_platform)
target_include_directories(tamo_platform PUBLIC ${PROJECT_SOURCE_DIR}/platform/host/platform/include
                           PRIVATE ${PROJECT_SOURCE_DIR}/platform/host/platform)
target_link_libraries(tamo_platform PRIVATE android::camera_metadata tamo_warnings)

# libtamo_utils: Android.bp's srcs, so both builds compile the same list.
file(READ ${PROJECT_SOURCE_DIR}/Android.bp _bp)
string(REGEX MATCH "srcs: \\[([^]]*)\\]" _srcs "${_bp}")
string(REGEX MATCHALL "\"[^\"]+\"" _srcs "${CMAKE_MATCH_1}")
list(TRANSFORM _srcs REPLACE "\"" "")
list(TRANSFORM _srcs PREPEND ${PROJECT_SOURCE_DIR}/)
# Stream buffers are told apart with dynamic_cast, as Android.bp says (rtti).
function(tamo_device_library name)
  add_library(${name} SHARED ${_srcs})
  target_compile_options(${name} PRIVATE -frtti)
  target_include_directories(${name}
    PUBLIC ${PROJECT_SOURCE_DIR}/include
    PRIVATE ${PROJECT_SOURCE_DIR}/utils)
  target_link_libraries(${name}
    PUBLIC android::camera_metadata android::cutils android::utils android::hidlbase
           android::mapper2.0 android::mapper3.0 android::mapper4.0 tamo::platform
    PRIVATE android::ui tamo::log_control ${CMAKE_DL_LIBS} tamo_warnings)
endfunction()

tamo_device_library(tamo_utils)
add_library(tamo::utils ALIAS tamo_utils)

# The same with buffers that have no memory behind them, for tests of what
# uses image buffers: libui needs a graphics service this userspace lacks.
if(TAMO_BUILD_TESTS)
  tamo_device_library(tamo_utils_placeholder)
  target_compile_definitions(tamo_utils_placeholder PRIVATE TAMO_GRALLOC_PLACEHOLDER=1)
endif()

# The tests that use the library through its public headers, on the
# platform's own userspace (CMAKE_CROSSCOMPILING_EMULATOR runs them there).
# googletest is built from Debian's sources for the target.
if(TAMO_BUILD_TESTS)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  # The platform's libc++ does not export the demangler googletest would use.
  add_compile_definitions(GTEST_HAS_CXXABI_H_=0)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  enable_testing()
  include(GoogleTest)
  add_library(tamo_test_emulated_children OBJECT ${PROJECT_SOURCE_DIR}/tests/support/EmulatedChildren.cpp)
  target_compile_definitions(tamo_test_emulated_children PRIVATE
    TAMO_TEST_EMULATOR="${CMAKE_CROSSCOMPILING_EMULATOR}")
  target_link_libraries(tamo_test_emulated_children PRIVATE gtest)

  function(tamo_add_device_test name)
    cmake_parse_arguments(T "" "UTILS" "SOURCES;LIBS" ${ARGN})
    if(NOT T_UTILS)
      set(T_UTILS tamo_utils)
    endif()
    list(TRANSFORM T_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/tests/)
    add_executable(${name} ${T_SOURCES})
    # Tests reach libcamera_metadata's private header as the camera service does.
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/utils ${PROJECT_SOURCE_DIR}/tests/support
      ${TAMO_DEVICE_DIR}/aosp-11/system/media/private/camera/include)
    target_link_libraries(${name} PRIVATE ${T_LIBS} ${T_UTILS} tamo::log_control gmock gtest gtest_main
                          tamo_test_emulated_children tamo_warnings)
    # googletest's own temporary folder on Android (/data/local/tmp) is not
    # there; the library folders run.sh adds hold the framework's libraries.
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 300 DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT 600 ENVIRONMENT "TEST_TMPDIR=/tmp/;TAMO_ANDROID_LIBS=${CMAKE_BINARY_DIR}")
  endfunction()

  tamo_add_device_test(device_tamo_log_test SOURCES utils/TamoLog_test.cpp)
  tamo_add_device_test(device_stream_configuration_test SOURCES utils/StreamConfiguration_test.cpp)
  tamo_add_device_test(device_stream_buffer_test SOURCES utils/buffer/StreamBuffer_test.cpp
    UTILS tamo_utils_placeholder)
  tamo_add_device_test(device_gralloc_placeholder_test SOURCES utils/buffer/GrallocPlaceholder_test.cpp
    UTILS tamo_utils_placeholder LIBS tamo::platform)
  tamo_add_device_test(device_metadata_test SOURCES utils/metadata/metadata_test.cpp LIBS tamo::platform)
  tamo_add_device_test(device_vendor_tag_test SOURCES utils/metadata/vendor_tag_test.cpp
    LIBS tamo::platform ${CMAKE_DL_LIBS})
  tamo_add_device_test(device_metadata_stress_test SOURCES utils/metadata/metadata_stress_test.cpp
    LIBS tamo::platform)
endif()

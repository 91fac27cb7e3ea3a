# The cameras' packets, made from their JSON descriptions by
# tamo_camera_packets: the one built here, or for the device build the one
# TAMO_CAMERA_PACKETS names (a host program). Sets TAMO_HOST_CAMERA_SOURCE.
set(_cameras)
foreach(id RANGE 0 8)
  list(APPEND _cameras ${CMAKE_CURRENT_LIST_DIR}/cameras/camera${id}.json)
endforeach()
if(TAMO_CAMERA_PACKETS)
  set(_maker ${TAMO_CAMERA_PACKETS})
else()
  set(_maker tamo_camera_packets)
endif()
set(TAMO_HOST_CAMERA_SOURCE ${CMAKE_CURRENT_BINARY_DIR}/HostCameraPackets.cpp)
add_custom_command(
  OUTPUT ${TAMO_HOST_CAMERA_SOURCE}
  COMMAND ${_maker} ${TAMO_HOST_CAMERA_SOURCE} ${_cameras}
  DEPENDS ${_maker} ${_cameras}
  COMMENT "Making the host cameras' packets"
  VERBATIM)

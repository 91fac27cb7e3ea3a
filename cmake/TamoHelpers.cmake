# install(TARGETS) for a host stand-in library, with its headers, into the
# package's export set. EXPORT_NAME drops the project prefix: tamo::<name>.
function(tamo_install_host_library target include_dir)
  string(REGEX REPLACE "^tamo_" "" export_name ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${export_name})
  install(TARGETS ${target} EXPORT tamo_utilsTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(include_dir)
    install(DIRECTORY ${include_dir}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
endfunction()

# What a workstation's applications need beside the plug-in: the framework it runs on, and a word to pkg-config.
if(VORNISA_HOST)
  install(TARGETS kepbase kepapi kepapistreaming recordings LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  foreach(library kepcodes keppeople)
    if(TARGET ${library})
      install(TARGETS ${library} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    endif()
  endforeach()
endif()
# The file finds its tree from where it lies, so that an installed tree can be moved.
file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vornisa-api.pc.in vornisa-api.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vornisa-api.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

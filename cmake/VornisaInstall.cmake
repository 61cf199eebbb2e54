# Installs what applications on a workstation need besides the plug-in: the framework, and files for pkg-config and CMake.
if(VORNISA_HOST)
  # Not on a board: its applications were linked to the name without a version.
  set_target_properties(PluginVornisaApi PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  install(TARGETS kepbase kepapi kepapistreaming recordings LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  foreach(library kepcodes keppeople)
    if(TARGET ${library})
      install(TARGETS ${library} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    endif()
  endforeach()
endif()
# Paths are relative to the .pc file, so that an installed tree can be moved.
file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(package vornisa-api vornisa-retention)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in ${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# The same for CMake: find_package(vornisa-api) and the targets vornisa-api::vornisa-api and ::vornisa-retention.
include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/vornisa-api)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vornisa-api-config.cmake.in vornisa-api-config.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(vornisa-api-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vornisa-api-config.cmake ${PROJECT_BINARY_DIR}/vornisa-api-config-version.cmake
  DESTINATION ${package_folder})

# Installs the libraries, their headers in the source tree's layout, and a package for find_package(KVLpersist).
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY KVL_LIBRARIES)
# The libraries find each other beside themselves, wherever the installation is moved to, and those of others
# (a database client, a host's own support libraries) where they were at the build.
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN" INSTALL_RPATH_USE_LINK_PATH ON)
install(TARGETS ${libraries} EXPORT KVLpersistTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT KVLpersistTargets NAMESPACE KVL::
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")

set(header_folders platform persist metadata errors collections wrappers module)
if(KVL_BUILD_STORE)
  list(APPEND header_folders store)
endif()
foreach(folder IN LISTS header_folders)
  if(IS_DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}")
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kvlpersist"
      FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()

configure_package_config_file(cmake/KVLpersistConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfig.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")

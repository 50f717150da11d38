# Installs the libraries, their headers in the source tree's layout, and a package for find_package(KVLpersist).
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY KVL_LIBRARIES)
install(TARGETS ${libraries} EXPORT KVLpersistTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT KVLpersistTargets NAMESPACE KVL::
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")
foreach(folder platform persist metadata errors wrappers module store)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kvlpersist"
    FILES_MATCHING PATTERN "*.h")
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

# Installs the libraries, the headers that programs include, and a package for find_package(KVLpersist).
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY KVL_LIBRARIES)
# The libraries look for each other in their own folder, so the installation can be moved. They look for those of
# others (a database client, a host's support libraries) where these were at the build.
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN" INSTALL_RPATH_USE_LINK_PATH ON)
install(TARGETS ${libraries} EXPORT KVLpersistTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT KVLpersistTargets NAMESPACE KVL::
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")

install(DIRECTORY "${KVL_HEADERS_DIR}/kvlpersist" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

# The contract suite, for back ends of others.
set(KVL_CONTRACT_INSTALL_DIR "${CMAKE_INSTALL_DATADIR}/kvlpersist/contract")
install(CODE "execute_process(COMMAND \"${CMAKE_COMMAND}\" -D \"ROOT=${PROJECT_SOURCE_DIR}\"
  -D \"OUTPUT=\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${KVL_CONTRACT_INSTALL_DIR}\"
  -P \"${PROJECT_SOURCE_DIR}/cmake/WriteContract.cmake\" COMMAND_ERROR_IS_FATAL ANY)")

configure_package_config_file(cmake/KVLpersistConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfig.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist" PATH_VARS KVL_CONTRACT_INSTALL_DIR)
# Versions 0.x and 0.y need not be compatible. The SOVERSION of the libraries says the same.
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  cmake/KVLpersistContract.cmake
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/KVLpersistConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/KVLpersist")

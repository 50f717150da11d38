# The platform libraries of a host, with -DKVL_PLATFORM=external. platform/README.md is the contract.

# The version of the contract, from the header that every platform library is compiled with.
file(STRINGS "${PROJECT_SOURCE_DIR}/platform/kvl_Layout.h" KVL_CONTRACT_VERSION REGEX "int kvl_ContractVersion = ")
string(REGEX REPLACE ".* = ([0-9]+).*" "\\1" KVL_CONTRACT_VERSION "${KVL_CONTRACT_VERSION}")

# A folder that has the tree without its platform: "platform/..." is then found at the host's, or nowhere. The headers
# directly in platform/ belong to the build.
function(kvl_hide_platform root)
  file(MAKE_DIRECTORY "${root}/platform")
  foreach(folder collections describe errors examples bench metadata module persist store tests tools wrappers)
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${root}/${folder}" SYMBOLIC)
  endforeach()
  foreach(header kvl_Export.h kvl_Layout.h kvl_Loaded.h)
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/platform/${header}" "${root}/platform/${header}" SYMBOLIC)
  endforeach()
endfunction()

# Finds the host's libraries, and checks that they fit their headers and the contract.
function(kvl_find_platform root)
  find_package(KVLplatform ${KVL_CONTRACT_VERSION} CONFIG REQUIRED GLOBAL)
  foreach(library IN LISTS KVL_PLATFORM_LIBRARIES)
    if(NOT TARGET KVL::${library})
      message(FATAL_ERROR "${KVLplatform_CONFIG} defines no target KVL::${library}. platform/README.md shows the package "
        "that a host provides.")
    endif()
  endforeach()
  kvl_check_platform("${root}")
endfunction()

# Compiles a program with the host's headers, links it with the host's libraries, and runs it.
function(kvl_check_platform root)
  set(program "${PROJECT_BINARY_DIR}/CMakeFiles/platform_check")
  set(libraries)
  foreach(library IN LISTS KVL_PLATFORM_LIBRARIES)
    get_target_property(aliased KVL::${library} ALIASED_TARGET)
    if(NOT aliased)
      set(aliased KVL::${library})
    endif()
    get_target_property(is_imported ${aliased} IMPORTED)
    if(NOT is_imported)
      message(STATUS "KVL::${library} is built by this project, so the platform is checked only when the library starts")
      return()
    endif()
    list(APPEND libraries ${aliased})
  endforeach()
  set(arguments "${program}" "${PROJECT_SOURCE_DIR}/module/PlatformCheckMain.cpp"
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${root}"
    LINK_LIBRARIES ${libraries}
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  # The results are not cached: the host may have changed since.
  unset(KVL_PLATFORM_COMPILES CACHE)
  unset(KVL_PLATFORM_RUNS CACHE)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    try_compile(KVL_PLATFORM_COMPILES ${arguments} OUTPUT_VARIABLE output)
    set(KVL_PLATFORM_RUNS 0) # cannot run here; the library checks itself again when it starts
  else()
    try_run(KVL_PLATFORM_RUNS KVL_PLATFORM_COMPILES ${arguments}
      COMPILE_OUTPUT_VARIABLE output RUN_OUTPUT_VARIABLE said)
  endif()
  if(NOT KVL_PLATFORM_COMPILES)
    message(FATAL_ERROR "A program does not compile and link with the headers and libraries of ${KVLplatform_CONFIG}. "
      "platform/README.md says what they must provide.\n${output}")
  endif()
  if(NOT KVL_PLATFORM_RUNS EQUAL 0)
    message(FATAL_ERROR "The platform libraries of ${KVLplatform_CONFIG} do not fit their headers: ${said}\n"
      "platform/README.md says what must fit. (Exit status: ${KVL_PLATFORM_RUNS})")
  endif()
  unset(KVL_PLATFORM_COMPILES CACHE)
  unset(KVL_PLATFORM_RUNS CACHE)
  message(STATUS "The platform libraries of ${KVLplatform_CONFIG} fit")
endfunction()

# The headers that programs include, as <kvlpersist/...>. The tree's own includes are paths from its root, in quotes;
# WriteHeaders.cmake rewrites them for everybody else, in the build tree and so for the installation. A program sees
# one of the two forms only: what belongs to the tree gets its root from kvl_flags.
set(KVL_HEADERS_DIR "${PROJECT_BINARY_DIR}/include")

# The headers of a folder that programs may include. What these include is installed too, but programs cannot include
# it directly.
function(kvl_public_headers)
  if(NOT ARGN)
    message(FATAL_ERROR "no headers")
  endif()
  foreach(header IN LISTS ARGN)
    if(NOT EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${header}")
      message(FATAL_ERROR "${header} is listed but does not exist")
    endif()
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE folder)
    set_property(GLOBAL APPEND PROPERTY KVL_PUBLIC_HEADERS "${folder}/${header}")
  endforeach()
endfunction()

# Writes the headers now and, as target kvl_headers, again when one of them changes. Called when all folders have
# said what is public.
function(kvl_write_headers)
  set(public "${PROJECT_BINARY_DIR}/public_headers.txt")
  set(written "${PROJECT_BINARY_DIR}/headers.txt")
  set(script "${PROJECT_SOURCE_DIR}/cmake/WriteHeaders.cmake")
  set(command "${CMAKE_COMMAND}" -D "ROOT=${PROJECT_SOURCE_DIR}" -D "PUBLIC=${public}" -D "OUTPUT=${KVL_HEADERS_DIR}"
    -D "WRITTEN=${written}" -D "PLATFORM=${KVL_PLATFORM}" -P "${script}")

  get_property(headers GLOBAL PROPERTY KVL_PUBLIC_HEADERS)
  list(JOIN headers "\n" headers)
  file(CONFIGURE OUTPUT "${public}" CONTENT "${headers}\n" @ONLY)
  execute_process(COMMAND ${command} COMMAND_ERROR_IS_FATAL ANY)

  # When includes change, so may the list of headers: the next build then configures again.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${written}")
  file(STRINGS "${written}" headers)
  list(TRANSFORM headers PREPEND "${PROJECT_SOURCE_DIR}/" OUTPUT_VARIABLE sources)
  list(TRANSFORM headers PREPEND "${KVL_HEADERS_DIR}/kvlpersist/" OUTPUT_VARIABLE outputs)
  set(stamp "${PROJECT_BINARY_DIR}/headers.stamp")
  add_custom_command(OUTPUT "${stamp}" BYPRODUCTS ${outputs}
    COMMAND ${command}
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
    DEPENDS "${script}" "${public}" ${sources}
    COMMENT "Writing the headers that programs include"
    VERBATIM)
  add_custom_target(kvl_headers DEPENDS "${stamp}")
endfunction()

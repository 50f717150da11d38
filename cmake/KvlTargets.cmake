# Makes the project's libraries and test programs. Targets are defined here or in tests/; each folder adds its own
# sources to them.

# Rejects arguments that belong to no keyword: a misspelt keyword would otherwise lose its values.
macro(kvl_parse_arguments options one_value multi_value)
  cmake_parse_arguments(ARG "${options}" "${one_value}" "${multi_value}" ${ARGN})
  if(DEFINED ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "unknown arguments: ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(DEFINED ARG_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "keywords without a value: ${ARG_KEYWORDS_MISSING_VALUES}")
  endif()
endmacro()

# One library, exported as KVL::<alias>. A shared one is never unloaded, and exports no symbol of the standard library.
function(kvl_library target alias)
  kvl_parse_arguments("" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${target} ${KVL_LIBRARY_TYPE} ${ARG_SOURCES})
  add_library(KVL::${alias} ALIAS ${target})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${KVL_HEADERS_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  add_dependencies(${target} kvl_headers)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE "$<BUILD_INTERFACE:kvl_flags>" ${ARG_PRIVATE})
  if(KVL_LIBRARY_TYPE STREQUAL "STATIC")
    target_compile_definitions(${target} PUBLIC KVL_STATIC)
  else()
    set(symbols "${PROJECT_SOURCE_DIR}/cmake/KvlSymbols.map")
    target_link_options(${target} PRIVATE -Wl,-z,nodelete "-Wl,--version-script=${symbols}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${symbols}")
    if(NOT KVL_SANITIZE) # Clang links its sanitizer runtime into programs only
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${alias} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set_property(GLOBAL APPEND PROPERTY KVL_LIBRARIES ${target})
endfunction()

# Adds sources to a library, from the folder that lists them. Sources of a library that shares its objects with a test
# go to <target>_objects.
function(kvl_sources target)
  if(NOT ARGN)
    message(FATAL_ERROR "no sources for ${target}")
  endif()
  if(TARGET ${target}_objects)
    set(target ${target}_objects)
  endif()
  if(KVL_PLATFORM STREQUAL "external")
    string(REGEX REPLACE "^KVL" "" library "${target}")
    if(library IN_LIST KVL_PLATFORM_LIBRARIES) # the host has its own
      return()
    endif()
  endif()
  target_sources(${target} PRIVATE ${ARGN})
endfunction()

# Adds sources to a test program, from the folder that lists them.
function(kvl_test_sources target)
  if(NOT ARGN)
    message(FATAL_ERROR "no sources for ${target}")
  endif()
  if(KVL_BUILD_TESTS)
    target_sources(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# A definition for one source of a test program, for values that differ between folders.
function(kvl_test_definition target source definition)
  if(KVL_BUILD_TESTS)
    set_property(SOURCE "${source}" TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_DEFINITIONS "${definition}")
  endif()
endfunction()

function(kvl_add_platform)
  if(KVL_PLATFORM STREQUAL "external")
    kvl_find_platform("${KVL_ROOT_DIR}")
    return()
  endif()
  kvl_library(KVLmem mem)
  kvl_library(KVLomni omni PUBLIC KVLmem)
  kvl_library(KVLthr thr PUBLIC KVLomni PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  kvl_library(KVLcow cow PUBLIC KVLmem)
  kvl_library(KVLtyp typ PUBLIC KVLcow)
  kvl_library(KVLatr atr PUBLIC KVLcow KVLomni)
endfunction()

function(kvl_add_persist)
  kvl_library(KVLpersist persist PUBLIC KVL::mem KVL::omni KVL::thr KVL::cow KVL::typ KVL::atr
    PRIVATE ${CMAKE_DL_LIBS})
endfunction()

# The module's inner classes are hidden in the library, so tests of them link the same objects directly.
function(kvl_add_store)
  find_package(SQLite3 3.40 REQUIRED)
  find_path(XXHASH_INCLUDE_DIR xxhash.h REQUIRED)
  find_library(XXHASH_LIBRARY xxhash REQUIRED)
  find_path(LZ4_INCLUDE_DIR lz4.h REQUIRED)
  find_library(LZ4_LIBRARY lz4 REQUIRED)
  set(server)
  if(KVL_BUILD_POSTGRES)
    find_package(PostgreSQL REQUIRED)
    set(server PostgreSQL::PostgreSQL)
  endif()
  foreach(objects KVLstore_objects KVLstore_agents)
    add_library(${objects} OBJECT)
    target_link_libraries(${objects}
      PUBLIC KVL::persist SQLite::SQLite3 ${server} "${XXHASH_LIBRARY}" "${LZ4_LIBRARY}" PRIVATE kvl_flags)
    target_include_directories(${objects} SYSTEM PUBLIC "${XXHASH_INCLUDE_DIR}" "${LZ4_INCLUDE_DIR}")
  endforeach()
  target_sources(KVLstore_objects INTERFACE "$<TARGET_OBJECTS:KVLstore_agents>")
  if(KVL_SANITIZE)
    # They are templates of many types: optimised and instrumented, they take three times as long to compile.
    target_compile_options(KVLstore_agents PRIVATE "$<$<CONFIG:Debug>:-O0>")
  endif()
  kvl_library(KVLstore store
    SOURCES "$<TARGET_OBJECTS:KVLstore_objects>" "$<TARGET_OBJECTS:KVLstore_agents>"
    PUBLIC KVLpersist
    PRIVATE SQLite::SQLite3 ${server} "$<BUILD_INTERFACE:${XXHASH_LIBRARY}>" "$<INSTALL_INTERFACE:xxhash>"
      "$<BUILD_INTERFACE:${LZ4_LIBRARY}>" "$<INSTALL_INTERFACE:lz4>")
  set_target_properties(KVLstore PROPERTIES LINKER_LANGUAGE CXX)
endfunction()

# The headers that nearly every test includes; they are precompiled.
set(KVL_TEST_HEADERS
  <gtest/gtest.h> <algorithm> <filesystem> <fstream> <functional> <map> <memory> <optional> <random> <string>
  <unordered_map> <vector>)

# A test program, run as a whole. SHARDS divides its tests among that many ctest entries, which run in parallel.
# THREADS marks a program that uses threads: only these are run with the thread sanitizer. TEMPLATES marks a program
# that compiles most of the code it tests: only these are built with the undefined-behaviour sanitizer themselves;
# the others test libraries that are. In a unity build helpers of a program's tests need distinct names, or a header that
# they share.
function(kvl_test target)
  kvl_parse_arguments("THREADS;TEMPLATES" "SHARDS" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${ARG_SOURCES} $<TARGET_OBJECTS:test_headers>)
  target_link_libraries(${target} PRIVATE
    ${ARG_LIBRARIES} kvl_test_flags GTest::gtest GTest::gtest_main Threads::Threads)
  if(ARG_TEMPLATES AND KVL_SANITIZE MATCHES "undefined")
    target_precompile_headers(${target} PRIVATE ${KVL_TEST_HEADERS}) # its flags differ from those of the others
  else()
    target_precompile_headers(${target} REUSE_FROM test_headers)
    target_link_libraries(${target} PRIVATE kvl_test_sanitizers)
  endif()
  set_property(GLOBAL APPEND PROPERTY KVL_TEST_PROGRAMS ${target})
  if(KVL_TESTS_WITH_THREADS_ONLY AND NOT ARG_THREADS)
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  if(NOT ARG_SHARDS)
    set(ARG_SHARDS 1)
  endif()
  math(EXPR last "${ARG_SHARDS} - 1")
  foreach(shard RANGE ${last})
    set(name ${target})
    if(ARG_SHARDS GREATER 1)
      string(APPEND name ".${shard}")
    endif()
    add_test(NAME ${name} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES
      TIMEOUT 1800 ENVIRONMENT "GTEST_TOTAL_SHARDS=${ARG_SHARDS};GTEST_SHARD_INDEX=${shard}"
      ENVIRONMENT_MODIFICATION "GTEST_FILTER=unset:"
      COST ${ARG_SHARDS}) # programs with many shards take longest, so they start first
  endforeach()
endfunction()

# Fails if a test program has no tests. Call it after all folders have added theirs.
function(kvl_check_test_programs)
  get_property(programs GLOBAL PROPERTY KVL_TEST_PROGRAMS)
  foreach(program IN LISTS programs)
    get_target_property(sources ${program} SOURCES)
    if(NOT sources MATCHES "_test[.]cpp")
      message(FATAL_ERROR "the test program ${program} has no tests")
    endif()
  endforeach()
endfunction()

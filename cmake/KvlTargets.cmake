# How the project's libraries and test programs are made. A target is made here or in tests/; each folder adds its own
# sources to it.

# Arguments that fit no keyword are a slip: a misspelt keyword would take its values with it.
macro(kvl_parse_arguments options one_value multi_value)
  cmake_parse_arguments(ARG "${options}" "${one_value}" "${multi_value}" ${ARGN})
  if(DEFINED ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "unknown arguments: ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(DEFINED ARG_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "keywords without a value: ${ARG_KEYWORDS_MISSING_VALUES}")
  endif()
endmacro()

# One shared library, exported as KVL::<alias>.
function(kvl_library target alias)
  kvl_parse_arguments("" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  add_library(KVL::${alias} ALIAS ${target})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${KVL_HEADERS_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  add_dependencies(${target} kvl_headers)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE "$<BUILD_INTERFACE:kvl_flags>" ${ARG_PRIVATE})
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
  if(KVL_SANITIZE)
    # Clang links its sanitizer runtime into programs only, so a library cannot be complete by itself.
    get_target_property(options ${target} LINK_OPTIONS)
    list(REMOVE_ITEM options -Wl,--no-undefined)
    set_target_properties(${target} PROPERTIES LINK_OPTIONS "${options}")
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${alias} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set_property(GLOBAL APPEND PROPERTY KVL_LIBRARIES ${target})
endfunction()

# Sources of a library, from the folder that lists them. A library whose objects are shared with a test takes them
# through <target>_objects.
function(kvl_sources target)
  if(NOT ARGN)
    message(FATAL_ERROR "no sources for ${target}")
  endif()
  if(TARGET ${target}_objects)
    set(target ${target}_objects)
  endif()
  target_sources(${target} PRIVATE ${ARGN})
endfunction()

# Sources of a test program, from the folder that lists them.
function(kvl_test_sources target)
  if(NOT ARGN)
    message(FATAL_ERROR "no sources for ${target}")
  endif()
  if(KVL_BUILD_TESTS)
    target_sources(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# A definition for one source of a test program: what differs between folders is not compiled into all of them.
function(kvl_test_definition target source definition)
  if(KVL_BUILD_TESTS)
    set_property(SOURCE "${source}" TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_DEFINITIONS "${definition}")
  endif()
endfunction()

function(kvl_add_platform)
  if(KVL_PLATFORM STREQUAL "external")
    find_package(KVLplatform REQUIRED)
    return()
  endif()
  kvl_library(KVLmem mem)
  kvl_library(KVLomni omni PUBLIC KVLmem)
  kvl_library(KVLthr thr PUBLIC KVLomni PRIVATE Threads::Threads)
  kvl_library(KVLcow cow PUBLIC KVLmem)
  kvl_library(KVLtyp typ PUBLIC KVLcow)
  kvl_library(KVLatr atr PUBLIC KVLcow KVLomni)
endfunction()

function(kvl_add_persist)
  kvl_library(KVLpersist persist PUBLIC KVL::mem KVL::omni KVL::thr KVL::cow KVL::typ KVL::atr)
endfunction()

# The module's inner classes are hidden in its library; the tests of them link the same objects.
function(kvl_add_store)
  find_package(SQLite3 3.40 REQUIRED)
  find_path(XXHASH_INCLUDE_DIR xxhash.h REQUIRED)
  find_library(XXHASH_LIBRARY xxhash REQUIRED)
  add_library(KVLstore_objects OBJECT)
  target_link_libraries(KVLstore_objects
    PUBLIC KVL::persist SQLite::SQLite3 "${XXHASH_LIBRARY}" PRIVATE kvl_flags)
  target_include_directories(KVLstore_objects SYSTEM PUBLIC "${XXHASH_INCLUDE_DIR}")
  kvl_library(KVLstore store
    SOURCES "$<TARGET_OBJECTS:KVLstore_objects>"
    PUBLIC KVLpersist
    PRIVATE SQLite::SQLite3 "${XXHASH_LIBRARY}")
  set_target_properties(KVLstore PROPERTIES LINKER_LANGUAGE CXX)
endfunction()

# Called when all folders have added their sources: a program without tests would pass.
function(kvl_check_has_tests target)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "_test[.]cpp$")
  if(NOT sources)
    message(FATAL_ERROR "${target} has no source file of tests")
  endif()
endfunction()

# One test program; every TEST in it becomes one ctest entry, with sanitizers the whole program.
function(kvl_test target)
  kvl_parse_arguments("" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  cmake_language(EVAL CODE
    "cmake_language(DEFER DIRECTORY [[${PROJECT_SOURCE_DIR}]] CALL kvl_check_has_tests [[${target}]])")
  target_link_libraries(${target} PRIVATE
    ${ARG_LIBRARIES} kvl_test_flags GTest::gtest GTest::gtest_main Threads::Threads)
  if(KVL_SANITIZE)
    # Starting a process for each test takes longer than most tests.
    add_test(NAME ${target} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${target} PROPERTIES TIMEOUT 1800)
    return()
  endif()
  include(GoogleTest)
  gtest_discover_tests(${target} TEST_PREFIX "${target}." DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
endfunction()

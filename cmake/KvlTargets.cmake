# How the project's libraries are made. Each takes its sources from cmake/Sources.cmake.

# One shared library, exported as KVL::<alias>.
function(kvl_library target alias)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  add_library(KVL::${alias} ALIAS ${target})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kvlpersist>")
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE "$<BUILD_INTERFACE:kvl_flags>" ${ARG_PRIVATE})
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
  if(KVL_SANITIZE)
    # Clang links its sanitizer runtime into programs only, so a library cannot be complete by itself.
    get_target_property(options ${target} LINK_OPTIONS)
    list(REMOVE_ITEM options -Wl,--no-undefined)
    set_target_properties(${target} PROPERTIES LINK_OPTIONS "${options}")
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${alias} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  set_property(GLOBAL APPEND PROPERTY KVL_LIBRARIES ${target})
endfunction()

function(kvl_add_platform)
  if(KVL_PLATFORM STREQUAL "external")
    find_package(KVLplatform REQUIRED)
    return()
  endif()
  kvl_library(KVLmem mem SOURCES ${KVL_MEM_SOURCES})
  kvl_library(KVLomni omni SOURCES ${KVL_OMNI_SOURCES} PUBLIC KVLmem)
  kvl_library(KVLthr thr SOURCES ${KVL_THR_SOURCES} PUBLIC KVLomni PRIVATE Threads::Threads)
  kvl_library(KVLcow cow SOURCES ${KVL_COW_SOURCES} PUBLIC KVLmem)
  kvl_library(KVLtyp typ SOURCES ${KVL_TYP_SOURCES} PUBLIC KVLcow)
  kvl_library(KVLatr atr SOURCES ${KVL_ATR_SOURCES} PUBLIC KVLcow KVLomni)
endfunction()

function(kvl_add_persist)
  kvl_library(KVLpersist persist
    SOURCES ${KVL_PERSIST_SOURCES}
    PUBLIC KVL::mem KVL::omni KVL::thr KVL::cow KVL::typ KVL::atr)
endfunction()

function(kvl_add_store)
  find_package(SQLite3 3.40 REQUIRED)
  find_path(XXHASH_INCLUDE_DIR xxhash.h REQUIRED)
  find_library(XXHASH_LIBRARY xxhash REQUIRED)
  kvl_library(KVLstore store
    SOURCES ${KVL_STORE_SOURCES}
    PUBLIC KVLpersist
    PRIVATE SQLite::SQLite3 "${XXHASH_LIBRARY}")
  target_include_directories(KVLstore SYSTEM PRIVATE "${XXHASH_INCLUDE_DIR}")
endfunction()

# One test program; every TEST in it becomes one ctest entry, with sanitizers the whole program.
function(kvl_test target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  list(TRANSFORM ARG_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/")
  add_executable(${target} ${ARG_SOURCES})
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}") # tests/support
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} kvl_flags GTest::gtest GTest::gtest_main Threads::Threads)
  if(KVL_SANITIZE)
    # Optimising instrumented tests takes three times as long as running them slowly, and starting a process
    # for each test longer than most tests.
    target_compile_options(${target} PRIVATE -O0)
    add_test(NAME ${target} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${target} PROPERTIES TIMEOUT 1800)
    return()
  endif()
  include(GoogleTest)
  gtest_discover_tests(${target} TEST_PREFIX "${target}." DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
endfunction()

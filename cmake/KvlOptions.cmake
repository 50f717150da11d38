# Options and the flags that every target of this project shares.
option(KVL_WERROR "Treat warnings as errors (for our own presets, not for those who build us)" OFF)
option(KVL_BUILD_STORE "Build the database module (needs SQLite, xxHash and LZ4)" ON)
option(KVL_BUILD_POSTGRES "Build stores on PostgreSQL servers into it (needs libpq)" ON)
# Shared unless BUILD_SHARED_LIBS says otherwise: the library's singletons must exist once in a process.
set(KVL_LIBRARY_TYPE SHARED)
set(tests_by_default ${PROJECT_IS_TOP_LEVEL})
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(KVL_LIBRARY_TYPE STATIC)
  set(tests_by_default OFF)
endif()
option(KVL_BUILD_TESTS "Build the tests (need GoogleTest and Python 3)" ${tests_by_default})
if(KVL_BUILD_TESTS AND KVL_LIBRARY_TYPE STREQUAL "STATIC")
  message(FATAL_ERROR "The tests replace functions of the shared libraries and load them as plug-ins do. "
    "Configure BUILD_SHARED_LIBS=OFF with KVL_BUILD_TESTS=OFF.")
endif()
option(KVL_BUILD_EXAMPLES "Build the examples (need Eigen and CLI11)" ${PROJECT_IS_TOP_LEVEL})
option(KVL_BUILD_TOOLS "Build the program kvlstore (needs CLI11, fmt and nlohmann-json)" ${PROJECT_IS_TOP_LEVEL})
option(KVL_BUILD_BENCH "Build the benchmarks (need Google Benchmark, Boost, cereal and HDF5)" OFF)
set(KVL_SANITIZE "" CACHE STRING "Sanitizers for the whole build, as -fsanitize= takes them")
set(KVL_PLATFORM "bundled" CACHE STRING "Where the host's support libraries come from: bundled, or external")
set_property(CACHE KVL_PLATFORM PROPERTY STRINGS bundled external)
if(NOT KVL_PLATFORM MATCHES "^(bundled|external)$")
  message(FATAL_ERROR "KVL_PLATFORM is '${KVL_PLATFORM}'; it must be bundled or external")
endif()
set(KVL_PLATFORM_LIBRARIES mem omni thr cow typ atr)
option(KVL_TESTS_WITH_THREADS_ONLY "Build and run only the test programs that have threads" OFF)
option(KVL_COVERAGE "Instrument for coverage" OFF)

# What our targets need, also inside another project. These variables are those of this folder, not of the parent.
if(NOT CMAKE_CXX_STANDARD GREATER 20) # a later one of the parent is kept
  set(CMAKE_CXX_STANDARD 20)
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The rest is the parent's choice: the kind of build, where its results go, and how the compiler is started.
if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
  endif()
  find_program(KVL_CCACHE ccache)
  if(KVL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # The cache needs this to work with precompiled headers.
    set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${KVL_CCACHE}")
  endif()
endif()

if(CMAKE_CXX_FLAGS MATCHES "-fno-rtti")
  message(FATAL_ERROR "KVLpersist needs run-time type information, for dynamic_cast and typeid: remove -fno-rtti from "
    "CMAKE_CXX_FLAGS")
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Warnings and instrumentation, for our own targets only. By themselves they are for programs that include the
# headers as <kvlpersist/...>.
add_library(kvl_program_flags INTERFACE)
target_compile_options(kvl_program_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns of overlapping copies inside the standard library's own string concatenation.
  target_compile_options(kvl_program_flags INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(kvl_program_flags INTERFACE -Wreserved-identifier)
endif()
if(KVL_WERROR)
  target_compile_options(kvl_program_flags INTERFACE -Werror)
endif()
if(CMAKE_UNITY_BUILD AND PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # One large source would make GCC look for garbage again and again, a tenth of its time. It takes up to 1 GiB instead.
  target_compile_options(kvl_program_flags INTERFACE "SHELL:--param ggc-min-heapsize=1048576")
endif()
if(KVL_SANITIZE)
  target_compile_options(kvl_program_flags INTERFACE -fsanitize=${KVL_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(kvl_program_flags INTERFACE -fsanitize=${KVL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Instrumented code hides from GCC that the standard library's members are set.
    target_compile_options(kvl_program_flags INTERFACE -Wno-maybe-uninitialized)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # GCC defines these by itself.
    foreach(sanitizer address thread)
      if(KVL_SANITIZE MATCHES "${sanitizer}")
        string(TOUPPER "__SANITIZE_${sanitizer}__" name)
        target_compile_definitions(kvl_program_flags INTERFACE ${name})
      endif()
    endforeach()
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND KVL_SANITIZE MATCHES "address")
    # GCC does this by itself. It lets the sanitizer see an object that is deleted as one of another size.
    target_compile_options(kvl_program_flags INTERFACE -fsized-deallocation)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND KVL_SANITIZE MATCHES "thread")
    # For C++ the sanitizer brings its own operators new and delete, which tests could not replace. Its malloc sees
    # all memory without them.
    target_link_options(kvl_program_flags INTERFACE --driver-mode=gcc)
    target_link_libraries(kvl_program_flags INTERFACE stdc++ m)
  endif()
endif()
if(KVL_COVERAGE)
  target_compile_options(kvl_program_flags INTERFACE --coverage)
  target_link_options(kvl_program_flags INTERFACE --coverage)
endif()

# The root of those includes: the tree, or what remains of it if the platform is a host's.
set(KVL_ROOT_DIR "${PROJECT_SOURCE_DIR}")
if(KVL_PLATFORM STREQUAL "external")
  include(KvlExternalPlatform)
  set(KVL_ROOT_DIR "${PROJECT_BINARY_DIR}/tree")
  kvl_hide_platform("${KVL_ROOT_DIR}")
endif()

# Everything that belongs to the tree includes its headers by their path from the root.
add_library(kvl_flags INTERFACE)
target_link_libraries(kvl_flags INTERFACE kvl_program_flags)
target_include_directories(kvl_flags INTERFACE "${KVL_ROOT_DIR}")

# Tests are not optimised in debug builds: that takes longer than running them slowly. The sanitizer builds need the
# lines of the library only, and a fifth of a test's compilation is its debug information.
add_library(kvl_test_flags INTERFACE)
target_link_libraries(kvl_test_flags INTERFACE kvl_flags)
target_compile_options(kvl_test_flags INTERFACE "$<$<CONFIG:Debug>:-O0>")
if(KVL_SANITIZE)
  target_compile_options(kvl_test_flags INTERFACE "$<$<CONFIG:Debug>:-g0>")
endif()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # In a unity build GCC takes a test for a header, whose classes must not have bases in an anonymous namespace.
  target_compile_options(kvl_test_flags INTERFACE -Wno-subobject-linkage)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The precompiled header fills GCC's heap to its limit (128 MiB), so it would look for garbage in every test.
  target_compile_options(kvl_test_flags INTERFACE "SHELL:--param ggc-min-heapsize=524288")
endif()

# The undefined-behaviour sanitizer costs a third of the time of compiling a test; the libraries have it.
add_library(kvl_test_sanitizers INTERFACE)
if(KVL_SANITIZE MATCHES "undefined")
  target_compile_options(kvl_test_sanitizers INTERFACE -fno-sanitize=undefined)
endif()

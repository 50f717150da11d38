# Part of the package KVLpersist, and of the tree when a project takes that with add_subdirectory:
#
#   find_package(KVLpersist 0.1 REQUIRED)         # or add_subdirectory(kvlpersist)
#   kvl_add_contract_suite(<target> <source>...)
#
# Makes a program that runs the contract suite over a back end. The sources define ContractSettings(), which
# "tests/contract/ContractBackEnd.h" describes; they include it by that name, and headers of the library as
# <kvlpersist/...>. Needs GoogleTest. After add_subdirectory the suite is that of the checkout, also when KVL_BUILD_TESTS
# is off; only a project that calls the function pays for it.
function(kvl_add_contract_suite target)
  if(NOT ARGN)
    message(FATAL_ERROR "kvl_add_contract_suite: no sources, which must define ContractSettings()")
  endif()
  find_package(GTest REQUIRED)
  find_package(Threads REQUIRED)
  if(NOT TARGET kvl_contract_suite)
    set(folder "${KVLpersist_CONTRACT_DIR}")
    if(COMMAND kvl_write_contract)
      kvl_write_contract(folder)
    endif()
    file(STRINGS "${folder}/sources.txt" sources)
    list(TRANSFORM sources PREPEND "${folder}/")
    add_library(kvl_contract_suite OBJECT ${sources})
    target_compile_features(kvl_contract_suite PUBLIC cxx_std_20)
    target_include_directories(kvl_contract_suite PUBLIC "${folder}")
    target_link_libraries(kvl_contract_suite PUBLIC KVL::persist GTest::gtest Threads::Threads)
    if(TARGET kvl_contract_sources)
      add_dependencies(kvl_contract_suite kvl_contract_sources)
    endif()
  endif()
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE kvl_contract_suite)
endfunction()

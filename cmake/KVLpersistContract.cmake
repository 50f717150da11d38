# Part of the package KVLpersist.
#
#   kvl_add_contract_suite(<target> <source>...)
#
# Makes a program that runs the contract suite over a back end. The sources define ContractSettings(), which
# "tests/contract/ContractBackEnd.h" describes; they include it by that name. Needs GoogleTest.
function(kvl_add_contract_suite target)
  if(NOT ARGN)
    message(FATAL_ERROR "kvl_add_contract_suite: no sources, which must define ContractSettings()")
  endif()
  find_package(GTest REQUIRED)
  find_package(Threads REQUIRED)
  if(NOT TARGET kvl_contract_suite)
    file(STRINGS "${KVLpersist_CONTRACT_DIR}/sources.txt" sources)
    file(STRINGS "${KVLpersist_CONTRACT_DIR}/separate.txt" separate)
    list(TRANSFORM sources PREPEND "${KVLpersist_CONTRACT_DIR}/")
    list(TRANSFORM separate PREPEND "${KVLpersist_CONTRACT_DIR}/")
    set_source_files_properties(${separate} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    add_library(kvl_contract_suite OBJECT ${sources})
    target_compile_features(kvl_contract_suite PUBLIC cxx_std_20)
    target_include_directories(kvl_contract_suite PUBLIC "${KVLpersist_CONTRACT_DIR}")
    target_link_libraries(kvl_contract_suite PUBLIC KVL::persist GTest::gtest Threads::Threads)
  endif()
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE kvl_contract_suite)
endfunction()

# The contract suite for a project that takes the tree with add_subdirectory: kvl_add_contract_suite calls this. An
# installation has the same files.

# Writes the suite into the build tree now and, as target kvl_contract_sources, again when one of its files changes;
# `result` gets the folder.
function(kvl_write_contract result)
  get_property(root GLOBAL PROPERTY KVL_CONTRACT_ROOT)
  get_property(folder GLOBAL PROPERTY KVL_CONTRACT_FOLDER)
  set(script "${root}/cmake/WriteContract.cmake")
  set(command "${CMAKE_COMMAND}" -D "ROOT=${root}" -D "OUTPUT=${folder}" -P "${script}")
  execute_process(COMMAND ${command} COMMAND_ERROR_IS_FATAL ANY)

  # When includes or sources change, so may the list of files: the next build then configures again.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${folder}/files.txt" "${root}/cmake/KvlContract.cmake")
  file(STRINGS "${folder}/files.txt" files)
  list(TRANSFORM files PREPEND "${root}/" OUTPUT_VARIABLE sources)
  list(TRANSFORM files PREPEND "${folder}/" OUTPUT_VARIABLE outputs)
  set(stamp "${folder}/files.stamp")
  add_custom_command(OUTPUT "${stamp}" BYPRODUCTS ${outputs}
    COMMAND ${command}
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
    DEPENDS "${script}" ${sources}
    COMMENT "Writing the contract suite"
    VERBATIM)
  add_custom_target(kvl_contract_sources DEPENDS "${stamp}")
  set(${result} "${folder}" PARENT_SCOPE)
endfunction()

# The function is called in another folder, which does not see the variables of this one.
set_property(GLOBAL PROPERTY KVL_CONTRACT_ROOT "${PROJECT_SOURCE_DIR}")
set_property(GLOBAL PROPERTY KVL_CONTRACT_FOLDER "${PROJECT_BINARY_DIR}/contract")

# Writes the contract suite for programs that use the package, or the tree as a subdirectory:
#
#   cmake -D ROOT=<tree> -D OUTPUT=<folder> -P WriteContract.cmake
#
# Its sources and the headers that they include from tests/ keep their paths, below OUTPUT, and include each other in
# quotes. Headers of the library are included as <kvlpersist/...>. OUTPUT/sources.txt lists the sources, and files.txt
# all files. Files that are right already are left alone, so that nothing is compiled again for them.
cmake_minimum_required(VERSION 3.25)

include("${ROOT}/cmake/KvlContract.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/KvlWriteIfDifferent.cmake")

set(files ${KVL_CONTRACT_SOURCES})
set(todo ${files})
while(todo)
  list(POP_FRONT todo file)
  file(STRINGS "${ROOT}/${file}" includes REGEX "^#include \"tests/")
  list(TRANSFORM includes REPLACE "^#include \"([^\"]+)\".*" "\\1")
  foreach(include IN LISTS includes)
    if(NOT include IN_LIST files)
      list(APPEND files ${include})
      list(APPEND todo ${include})
    endif()
  endforeach()
endwhile()

foreach(file IN LISTS files)
  file(READ "${ROOT}/${file}" text)
  string(REGEX REPLACE "(^|\n)#include \"([^\"\n]+)\"" "\\1#include <kvlpersist/\\2>" text "${text}")
  string(REGEX REPLACE "#include <kvlpersist/(tests/[^>\n]+)>" "#include \"\\1\"" text "${text}")
  write_if_different("${OUTPUT}/${file}" "${text}")
endforeach()
list(JOIN KVL_CONTRACT_SOURCES "\n" sources)
write_if_different("${OUTPUT}/sources.txt" "${sources}\n")
list(JOIN files "\n" files)
write_if_different("${OUTPUT}/files.txt" "${files}\n")

# Writes the headers as programs include them, <kvlpersist/...>, from those of the tree:
#
#   cmake -D ROOT=<tree> -D PUBLIC=<list> -D OUTPUT=<folder> -D WRITTEN=<list> -D PLATFORM=<bundled or external>
#     -P WriteHeaders.cmake
#
# PUBLIC is a file with one public header a line, as a path from ROOT. These and all that they include go to
# OUTPUT/kvlpersist; WRITTEN becomes their list. Files that are right already are left alone, so that nothing is
# compiled again for them; headers that are no longer needed are removed.
#
# What a public header includes without being public is an inner header. It fails to compile unless a public header
# has brought it in: a public header defines KVL_INNER_HEADER around its own includes. An inner header has no
# `#pragma once`, which would let a second, direct include pass.
#
# If the platform is external, <kvlpersist/platform/...> includes the host's header, as <platform/...>. It is not a copy:
# a program that includes both gets one file. The headers directly in platform/ belong to the build and are ours.
cmake_minimum_required(VERSION 3.25)

include("${CMAKE_CURRENT_LIST_DIR}/KvlWriteIfDifferent.cmake")

function(is_hosts_header header result)
  set(${result} OFF PARENT_SCOPE)
  if(PLATFORM STREQUAL "external" AND header MATCHES "^platform/.*/")
    set(${result} ON PARENT_SCOPE)
  endif()
endfunction()

# The headers of the tree that a header includes, in `result`.
function(read_includes header result)
  is_hosts_header(${header} is_hosts)
  if(is_hosts)
    set(${result} PARENT_SCOPE)
    return()
  endif()
  if(NOT EXISTS "${ROOT}/${header}")
    message(FATAL_ERROR "${header}: no such header")
  endif()
  file(STRINGS "${ROOT}/${header}" lines REGEX "^#include \"")
  list(TRANSFORM lines REPLACE "^#include \"([^\"]+)\".*" "\\1")
  set(${result} ${lines} PARENT_SCOPE)
endfunction()

# The public headers that include an inner one in the fewest steps, as the end of a sentence.
function(find_public_includers header result)
  set(level ${header})
  set(seen)
  while(level)
    set(found)
    set(next)
    foreach(included IN LISTS level)
      foreach(includer IN LISTS "includers_${included}")
        if(includer IN_LIST public)
          list(APPEND found "<kvlpersist/${includer}>")
        elseif(NOT includer IN_LIST seen)
          list(APPEND seen ${includer})
          list(APPEND next ${includer})
        endif()
      endforeach()
    endforeach()
    if(found)
      list(REMOVE_DUPLICATES found)
      list(SORT found)
      list(SUBLIST found 0 3 found)
      list(JOIN found " or " found)
      set(${result} "${found}" PARENT_SCOPE)
      return()
    endif()
    set(level ${next})
  endwhile()
  message(FATAL_ERROR "${header}: no public header includes it")
endfunction()

# The text of a public header: its own includes, from the first to the last, may bring in inner headers.
function(open_inner_headers text result)
  string(FIND "${text}" "\n#include <kvlpersist/" first)
  if(NOT first EQUAL -1)
    string(FIND "${text}" "\n#include <kvlpersist/" last REVERSE)
    math(EXPR first "${first} + 1")
    math(EXPR last "${last} + 1")
    string(SUBSTRING "${text}" 0 ${first} before)
    string(SUBSTRING "${text}" ${last} -1 after)
    math(EXPR length "${last} - ${first}")
    string(SUBSTRING "${text}" ${first} ${length} includes)
    string(FIND "${after}" "\n" end)
    math(EXPR end "${end} + 1")
    string(SUBSTRING "${after}" 0 ${end} last_include)
    string(SUBSTRING "${after}" ${end} -1 after)
    string(CONCAT text "${before}"
      "#pragma push_macro(\"KVL_INNER_HEADER\")\n#define KVL_INNER_HEADER\n"
      "${includes}${last_include}#pragma pop_macro(\"KVL_INNER_HEADER\")\n" "${after}")
  endif()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# The text of an inner header.
function(refuse_direct_include header text result)
  find_public_includers(${header} instead)
  string(REGEX REPLACE "[^a-zA-Z0-9]" "_" guard "KVLPERSIST_${header}")
  string(CONCAT opening
    "#ifndef KVL_INNER_HEADER\n#error \"<kvlpersist/${header}> is an inner header: include ${instead} instead\"\n"
    "#endif\n#ifndef ${guard}\n#define ${guard}\n")
  string(FIND "${text}" "#pragma once\n" once)
  if(once EQUAL -1)
    message(FATAL_ERROR "${header}: no #pragma once")
  endif()
  string(REPLACE "#pragma once\n" "${opening}" text "${text}")
  set(${result} "${text}#endif\n" PARENT_SCOPE)
endfunction()

file(STRINGS "${PUBLIC}" public)
set(headers ${public})
set(todo ${public})
while(todo)
  list(POP_FRONT todo header)
  read_includes(${header} includes)
  foreach(include IN LISTS includes)
    list(APPEND "includers_${include}" ${header})
    if(NOT include IN_LIST headers)
      list(APPEND headers ${include})
      list(APPEND todo ${include})
    endif()
  endforeach()
endwhile()
list(SORT headers)

foreach(header IN LISTS headers)
  is_hosts_header(${header} is_hosts)
  if(is_hosts)
    write_if_different("${OUTPUT}/kvlpersist/${header}" "#pragma once\n\n#include <${header}> // the host's own\n")
    continue()
  endif()
  file(READ "${ROOT}/${header}" text)
  string(REGEX REPLACE "\n#include \"([^\"\n]+)\"" "\n#include <kvlpersist/\\1>" text "${text}")
  if(header IN_LIST public)
    open_inner_headers("${text}" text)
  else()
    refuse_direct_include(${header} "${text}" text)
  endif()
  write_if_different("${OUTPUT}/kvlpersist/${header}" "${text}")
endforeach()

file(GLOB_RECURSE written RELATIVE "${OUTPUT}/kvlpersist" "${OUTPUT}/kvlpersist/*")
foreach(header IN LISTS written)
  if(NOT header IN_LIST headers)
    file(REMOVE "${OUTPUT}/kvlpersist/${header}")
  endif()
endforeach()
list(JOIN headers "\n" headers)
write_if_different("${WRITTEN}" "${headers}\n")

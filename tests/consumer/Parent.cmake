# Checks that a subproject leaves the choices of its parent alone: CMake's variables, cached or not.

# What CMake itself keeps up to date, and what its modules have found out.
set(NOT_CHOSEN "^CMAKE_(CURRENT_|MATCH_|PARENT_|INSTALL_[A-Z]+DIR$|INSTALL_FULL_|HAVE_|PROJECT_VERSION|THREAD|USE_)")

function(choices result)
  get_cmake_property(names VARIABLES)
  list(FILTER names INCLUDE REGEX "^(CMAKE|BUILD)_")
  list(FILTER names EXCLUDE REGEX "${NOT_CHOSEN}")
  set(${result} ${names} PARENT_SCOPE)
endfunction()

macro(remember_choices)
  choices(names)
  foreach(name IN LISTS names)
    set("before_${name}" "${${name}}")
  endforeach()
endmacro()

macro(require_choices)
  choices(names)
  foreach(name IN LISTS names)
    if(NOT "${${name}}" STREQUAL "${before_${name}}")
      message(FATAL_ERROR "the subproject changed ${name} from '${before_${name}}' to '${${name}}'")
    endif()
  endforeach()
endmacro()

function(require_property target property value)
  get_target_property(actual ${target} ${property})
  if(NOT actual STREQUAL value)
    message(FATAL_ERROR "${property} of ${target} is ${actual}; the parent has chosen ${value}")
  endif()
endfunction()

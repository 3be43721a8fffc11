# The include check of the layers (cmake/layers.cmake): every quoted include
# of every source must name a file from the project root ("filters/median.h",
# never "median.h"), and its layer must be one the including file's layer may
# use; a header of the project is never included in angle brackets. Every
# fault is listed, then the script fails.
#
#   cmake -DTAMBLE_ROOT=<tree> [-DTAMBLE_STAMP=<file>] -P cmake/checkLayers.cmake
#
# On success the stamp file, when given, is touched: the build runs the check
# again only when a source changed.
cmake_minimum_required(VERSION 3.22)

if(NOT TAMBLE_ROOT)
  message(FATAL_ERROR "checkLayers: give the tree to check as -DTAMBLE_ROOT=<folder>")
endif()
get_filename_component(root "${TAMBLE_ROOT}" ABSOLUTE)
include(${CMAKE_CURRENT_LIST_DIR}/layers.cmake)

# The layer of a path, remembered: the same headers are looked up many times.
macro(layer_of path out)
  if(NOT DEFINED layerOf_${path})
    tamble_layer_of("${path}" layerOf_${path})
  endif()
  set(${out} "${layerOf_${path}}")
endmacro()

function(is_skipped path out)
  set(skipped FALSE)
  foreach(prefix IN LISTS TAMBLE_LAYER_SKIP)
    string(FIND "${path}" "${prefix}" at)
    if(at EQUAL 0)
      set(skipped TRUE)
    endif()
  endforeach()
  set(${out} ${skipped} PARENT_SCOPE)
endfunction()

# Every folder the table names (files name their folder).
tamble_layer_folders(folders)

set(sources "")
foreach(folder IN LISTS folders)
  file(GLOB_RECURSE found RELATIVE "${root}" "${root}/${folder}/*.h" "${root}/${folder}/*.cpp")
  list(APPEND sources ${found})
endforeach()
list(REMOVE_DUPLICATES sources)
list(SORT sources)

set(faults "")
set(includeLine "(^|\n)[ \t]*#[ \t]*include[ \t]*[\"<][^\"<>\n]*[\">]")
foreach(source IN LISTS sources)
  is_skipped("${source}" skipped)
  if(skipped)
    continue()
  endif()
  layer_of("${source}" from)
  file(READ "${root}/${source}" text)
  string(REGEX MATCHALL "${includeLine}" directives "${text}")
  # Line numbers: the newlines before each directive, counted as we go.
  set(line 1)
  foreach(directive IN LISTS directives)
    string(FIND "${text}" "${directive}" at)
    string(SUBSTRING "${text}" 0 ${at} before)
    string(REGEX REPLACE "[^\n]" "" newlines "${before}")
    string(LENGTH "${newlines}" count)
    math(EXPR line "${line} + ${count}")
    string(LENGTH "${directive}" length)
    math(EXPR after "${at} + ${length}")
    string(SUBSTRING "${text}" ${after} -1 text)
    if(directive MATCHES "^\n")
      math(EXPR line "${line} + 1")
    endif()
    string(REGEX REPLACE ".*[\"<]([^\"<>]*)[\">]$" "\\1" header "${directive}")
    set(where "${source}:${line}")
    if(directive MATCHES ">$")
      # A system header, unless it names a folder of the project.
      string(REGEX REPLACE "/.*" "" top "${header}")
      if("${top}" IN_LIST folders)
        list(APPEND faults "${where}: <${header}> is a header of the project: include it in quotes")
      endif()
      continue()
    endif()
    if(NOT EXISTS "${root}/${header}" OR IS_DIRECTORY "${root}/${header}")
      get_filename_component(folder "${source}" DIRECTORY)
      set(hint "")
      if(EXISTS "${root}/${folder}/${header}")
        file(RELATIVE_PATH rooted "${root}" "${root}/${folder}/${header}")
        set(hint " (write \"${rooted}\")")
      endif()
      list(APPEND faults "${where}: \"${header}\" is not a path from the project root${hint}")
      continue()
    endif()
    layer_of("${header}" to)
    if(to STREQUAL "")
      list(APPEND faults "${where}: \"${header}\" lies in no layer of cmake/layers.cmake")
      continue()
    endif()
    tamble_layer_may_use("${from}" "${to}" allowed)
    if(NOT allowed)
      string(REPLACE ";" ", " uses "${TAMBLE_LAYER_USES_${from}}")
      if(uses STREQUAL "")
        set(uses "nothing else")
      endif()
      list(APPEND faults "${where}: includes \"${header}\": the ${from} layer may not use the \
${to} layer (${from} may use: ${uses})")
    endif()
  endforeach()
endforeach()

if(faults)
  list(LENGTH faults count)
  string(REPLACE ";" "\n  " listing "${faults}")
  message(FATAL_ERROR "Layer check: ${count} include(s) break the layers (cmake/layers.cmake):\n  \
${listing}\n")
endif()
if(TAMBLE_STAMP)
  file(TOUCH "${TAMBLE_STAMP}")
endif()

# The layer check on a small tree that breaks the rules four times: a routine
# including a command header, a routine including the host's user interface,
# an include not written from the project root, and a project header in angle
# brackets. The check must fail and name exactly those four, with file, line,
# header and layers.
#
#   cmake -DCHECKER=<cmake/checkLayers.cmake> -DFIXTURE=<tree> -P checkFixture.cmake
execute_process(COMMAND ${CMAKE_COMMAND} -DTAMBLE_ROOT=${FIXTURE} -P ${CHECKER}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(report "${out}${err}")
if(status EQUAL 0)
  message(FATAL_ERROR "The check passed a tree with upward includes:\n${report}")
endif()

set(expected
  "filters/blur.cpp:4: includes \"plugin/frame.h\": the routines layer may not use the commands layer"
  "markers/spot.cpp:4: includes \"host/hostUi.h\": the routines layer may not use the host-ui layer"
  "host/store.cpp:2: \"atomicFile.h\" is not a path from the project root (write \"host/atomicFile.h\")"
  "plugin/command.cpp:4: <filters/blur.h> is a header of the project: include it in quotes")
foreach(fault IN LISTS expected)
  string(FIND "${report}" "${fault}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "The check did not report\n  ${fault}\nIt said:\n${report}")
  endif()
endforeach()
if(NOT report MATCHES "4 include\\(s\\) break the layers")
  message(FATAL_ERROR "The check reported other faults than the four:\n${report}")
endif()

# The layers of Tamble and what each may use: the one table behind the include
# check (cmake/checkLayers.cmake, run by every build) and behind the configure
# checks that each library holds sources of its own layer and links only
# layers it may use. Included by the project and by the check script alike.

# Where each layer lives: a folder (trailing slash) or a file, and its layer.
# The longest matching entry decides, so a file overrides its folder.
set(TAMBLE_LAYER_PATHS
  api/                      model
  host/                     host-core
  host/hostUi.h             host-ui
  host/hostUi.cpp           host-ui
  host/interaction.h        host-ui
  host/interaction.cpp      host-ui
  host/command.h            host-ui
  host/commandRegistry.cpp  host-ui
  host/plugin2d.h           host-ui
  host/projectDialogs.h     host-ui
  host/projectDialogs.cpp   host-ui
  filters/                  routines
  geometry/                 routines
  markers/                  routines
  align/                    routines
  convert/                  routines
  resect/                   routines
  dialogs/                  commands
  plugin/                   commands
  plugin/exports.cpp        plugin-library
  plugin/commandTable.h     plugin-library
  plugin/commandTable.cpp   plugin-library
  plugin/tableRows.cpp      plugin-library
  apps/                     hosts
  python/                   python-host
  apps/workbench/           hosts
  bench/                    bench
  tests/                    tests)

# Trees that are not scanned: the checker's own fixtures break the rules on
# purpose.
set(TAMBLE_LAYER_SKIP tests/layers/fixtures/)

# What each layer may include besides itself, bottom to top. The host UI is a
# sibling of the routines: neither may use the other. The hosts reach the
# commands only through the plug-in library's export, loaded at run time.
set(TAMBLE_LAYER_USES_model          "")
set(TAMBLE_LAYER_USES_host-core      model)
set(TAMBLE_LAYER_USES_routines       model host-core)
set(TAMBLE_LAYER_USES_host-ui        model host-core)
set(TAMBLE_LAYER_USES_commands       model host-core routines host-ui)
set(TAMBLE_LAYER_USES_plugin-library model host-core routines host-ui commands)
set(TAMBLE_LAYER_USES_hosts          model host-core host-ui)
# The Python package is a host built on the command line's session; a layer
# of its own because it is built only where pybind11 is (not under the
# sanitizers), and a layer without libraries is not required to build.
set(TAMBLE_LAYER_USES_python-host    model host-core host-ui hosts)
set(TAMBLE_LAYER_USES_bench          model host-core routines host-ui commands plugin-library hosts)
set(TAMBLE_LAYER_USES_tests          model host-core routines host-ui commands plugin-library hosts
                                     bench)

# The layer of a path relative to the project root, or "" when none holds it.
function(tamble_layer_of path out)
  set(best "")
  set(bestLength 0)
  set(entries ${TAMBLE_LAYER_PATHS})
  while(entries)
    list(POP_FRONT entries prefix layer)
    string(LENGTH "${prefix}" length)
    string(FIND "${path}" "${prefix}" at)
    set(matches FALSE)
    if(prefix MATCHES "/$" AND at EQUAL 0)
      set(matches TRUE)  # a folder holds everything below it
    elseif(path STREQUAL prefix)
      set(matches TRUE)
    endif()
    if(matches AND length GREATER bestLength)
      set(best ${layer})
      set(bestLength ${length})
    endif()
  endwhile()
  set(${out} "${best}" PARENT_SCOPE)
endfunction()

# Whether layer `from` may use layer `to`.
function(tamble_layer_may_use from to out)
  set(allowed FALSE)
  if(from STREQUAL to)
    set(allowed TRUE)
  else()
    list(FIND TAMBLE_LAYER_USES_${from} "${to}" at)
    if(at GREATER -1)
      set(allowed TRUE)
    endif()
  endif()
  set(${out} ${allowed} PARENT_SCOPE)
endfunction()

# The folders the table names.
function(tamble_layer_folders out)
  set(folders "")
  set(entries ${TAMBLE_LAYER_PATHS})
  while(entries)
    list(POP_FRONT entries prefix layer)
    get_filename_component(folder "${prefix}x" DIRECTORY)
    list(APPEND folders "${folder}")
  endwhile()
  list(REMOVE_DUPLICATES folders)
  set(${out} "${folders}" PARENT_SCOPE)
endfunction()

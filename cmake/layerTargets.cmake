# The layers in the build (the table is cmake/layers.cmake): the include check
# runs as a build step before any library compiles, and at configure time each
# library is checked to hold only sources of its own layer and to link only
# layers its layer may use.
include(${CMAKE_CURRENT_LIST_DIR}/layers.cmake)

# The check reruns whenever a source, the table or the script changes; its
# stamp is written only when it passes, so a failing check fails every build.

function(tamble_add_layer_check)
  tamble_layer_folders(folders)
  set(patterns "")
  foreach(folder IN LISTS folders)
    list(APPEND patterns "${PROJECT_SOURCE_DIR}/${folder}/*.h" "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  endforeach()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
  set(stamp ${CMAKE_BINARY_DIR}/layers.stamp)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DTAMBLE_ROOT=${PROJECT_SOURCE_DIR} -DTAMBLE_STAMP=${stamp}
            -P ${PROJECT_SOURCE_DIR}/cmake/checkLayers.cmake
    DEPENDS ${sources} ${PROJECT_SOURCE_DIR}/cmake/checkLayers.cmake
            ${PROJECT_SOURCE_DIR}/cmake/layers.cmake
    COMMENT "Checking every include against the layers"
    VERBATIM)
  add_custom_target(tamble_layer_check DEPENDS ${stamp})
endfunction()

# Declares that a library (or executable) belongs to `layer`: it is built only
# after the include check passed, and tamble_check_layer_targets checks it.
function(tamble_layer_target target layer)
  if(NOT DEFINED TAMBLE_LAYER_USES_${layer})
    message(FATAL_ERROR "tamble_layer_target(${target}): no layer \"${layer}\" in cmake/layers.cmake")
  endif()
  set_property(TARGET ${target} PROPERTY TAMBLE_LAYER ${layer})
  set_property(GLOBAL APPEND PROPERTY TAMBLE_LAYER_TARGETS ${target})
  add_dependencies(${target} tamble_layer_check)
endfunction()

# `target` links no library of a layer that its layer may not use.
function(tamble_check_target_links target layer)
  get_target_property(links ${target} LINK_LIBRARIES)
  foreach(link IN LISTS links)
    if(NOT TARGET "${link}")
      continue()  # an outside library
    endif()
    get_target_property(other ${link} TAMBLE_LAYER)
    if(NOT other)
      continue()
    endif()
    tamble_layer_may_use(${layer} ${other} allowed)
    if(NOT allowed)
      message(FATAL_ERROR "Layers: ${target} (${layer} layer) links ${link} of the ${other} \
layer, which the ${layer} layer may not use")
    endif()
  endforeach()
endfunction()

# The sources a target builds, as paths from the project root.
function(tamble_target_paths target out)
  get_target_property(sources ${target} SOURCES)
  get_target_property(folder ${target} SOURCE_DIR)
  set(paths "")
  foreach(source IN LISTS sources)
    if(source MATCHES "^\\$<")
      continue()  # objects of another library, checked there
    endif()
    if(NOT IS_ABSOLUTE "${source}")
      set(source "${folder}/${source}")
    endif()
    file(RELATIVE_PATH path "${PROJECT_SOURCE_DIR}" "${source}")
    list(APPEND paths "${path}")
  endforeach()
  set(${out} "${paths}" PARENT_SCOPE)
endfunction()

# Every .cpp of a layer that has libraries is built by one of them: a command
# file left out of its list would otherwise vanish without a link error.
function(tamble_check_layer_complete built layers)
  tamble_layer_folders(folders)
  list(TRANSFORM folders REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/\\1/*.cpp")
  file(GLOB_RECURSE all RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS ${folders})
  foreach(path IN LISTS all)
    tamble_layer_of("${path}" layer)
    list(FIND layers "${layer}" hasTargets)
    list(FIND built "${path}" isBuilt)
    if(hasTargets GREATER -1 AND isBuilt EQUAL -1)
      message(FATAL_ERROR "Layers: ${path} of the ${layer} layer is built by no library; \
add it to the list of its folder's CMakeLists.txt")
    endif()
  endforeach()
endfunction()

# Run once every target is defined.
function(tamble_check_layer_targets)
  get_property(targets GLOBAL PROPERTY TAMBLE_LAYER_TARGETS)
  set(built "")
  set(layers "")
  foreach(target IN LISTS targets)
    get_target_property(layer ${target} TAMBLE_LAYER)
    tamble_target_paths(${target} paths)
    foreach(path IN LISTS paths)
      tamble_layer_of("${path}" owner)
      if(NOT owner STREQUAL layer)
        message(FATAL_ERROR "Layers: ${target} belongs to the ${layer} layer but builds ${path}, \
which cmake/layers.cmake places in the \"${owner}\" layer")
      endif()
    endforeach()
    list(APPEND built ${paths})
    list(APPEND layers ${layer})
    tamble_check_target_links(${target} ${layer})
  endforeach()
  tamble_check_layer_complete("${built}" "${layers}")
endfunction()

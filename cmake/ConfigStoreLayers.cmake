# The library is built in layers, each over the one below it:
#
#   configstore_base      src/errors, src/json    errors, the log, JSON documents
#   configstore_platform  platform/               the host layer
#   configstore_model     src/objects, src/validation
#   configstore_db        src/db                  every SQL text of the library
#   configstore_api       src/store, src/notify, src/exec
#
# A layer is compiled once, as an object library, and packed into a static
# library that links the layer below it; unit tests link the static library
# of the layer they test. The shared library is made of every layer's
# objects. Two checks make the direction a build fact rather than a review
# comment:
#   - each layer's objects are also linked into a throwaway shared library
#     with only the layers below it and --no-undefined, so a call into a
#     higher layer is a link error;
#   - every quoted include of a layer's files is checked against the layer
#     of the directory it names (cmake/CheckLayerIncludes.cmake),
#     so a header of a higher layer is a build error even when nothing of it
#     is linked.

# configstore_add_layer(<name> BELOW <layer below> SOURCES <files>...)
function(configstore_add_layer name)
  cmake_parse_arguments(LAYER "" "BELOW" "SOURCES" ${ARGN})
  add_library(${name}_objects OBJECT ${LAYER_SOURCES})
  set_target_properties(${name}_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name}_objects PUBLIC configstore_build_flags ${LAYER_BELOW})
  add_library(${name} STATIC)
  target_link_libraries(${name} PUBLIC ${name}_objects)
  set_property(GLOBAL APPEND PROPERTY CONFIGSTORE_LAYER_OBJECTS ${name}_objects)
  # The sanitizers' runtime is resolved from the executable, so their builds
  # cannot link with --no-undefined; the plain build checks the direction.
  if(NOT CONFIGSTORE_SANITIZE)
    add_library(${name}_link_check SHARED)
    target_link_libraries(${name}_link_check PRIVATE ${name}_objects)
    target_link_options(${name}_link_check PRIVATE -Wl,--no-undefined)
    set_target_properties(${name}_link_check PROPERTIES
      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/layer-checks)
  endif()
endfunction()

# Fails the build when a file of the library includes a header of a layer
# above its own, or when the tool includes anything but the public headers.
function(configstore_check_layer_includes)
  file(GLOB_RECURSE checked CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/src/*.cc
    ${PROJECT_SOURCE_DIR}/platform/*.h ${PROJECT_SOURCE_DIR}/platform/*.cc
    ${PROJECT_SOURCE_DIR}/tools/*.h ${PROJECT_SOURCE_DIR}/tools/*.cc)
  set(stamp ${CMAKE_BINARY_DIR}/layer-checks/includes.stamp)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DROOT=${PROJECT_SOURCE_DIR} -DSTAMP=${stamp}
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayerIncludes.cmake
    DEPENDS ${checked} ${PROJECT_SOURCE_DIR}/cmake/CheckLayerIncludes.cmake
    COMMENT "Checking that includes point down the layers")
  add_custom_target(configstore_layer_includes ALL DEPENDS ${stamp})
endfunction()

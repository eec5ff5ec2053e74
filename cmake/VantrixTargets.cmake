# Compile settings shared by all targets, and the layers that the library is made of.

add_library(vantrix_settings INTERFACE)
target_compile_features(vantrix_settings INTERFACE cxx_std_20)
target_include_directories(
  vantrix_settings INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
# Results must not depend on whether a compiler fuses a multiplication and an addition.
target_compile_options(
  vantrix_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
                             -ffp-contract=off -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(VANTRIX_WERROR)
  target_compile_options(vantrix_settings INTERFACE -Werror)
endif()
if(VANTRIX_SANITIZE)
  target_compile_options(
    vantrix_settings INTERFACE -fsanitize=${VANTRIX_SANITIZE} -fno-sanitize-recover=all
                               -fno-omit-frame-pointer)
  target_link_options(vantrix_settings INTERFACE -fsanitize=${VANTRIX_SANITIZE})
endif()

set_property(GLOBAL PROPERTY VANTRIX_LAYERS)

# vantrix_add_layer(NAME SOURCES file... [LIBRARIES target...])
# One folder of the library: its objects go into the shared library and into the static one that
# tests, benchmarks and fuzz targets link.
function(vantrix_add_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(vantrix_${name} OBJECT ${ARG_SOURCES})
  target_link_libraries(vantrix_${name} PUBLIC vantrix_settings PRIVATE ${ARG_LIBRARIES})
  set_target_properties(
    vantrix_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                               VISIBILITY_INLINES_HIDDEN ON)
  set_property(GLOBAL APPEND PROPERTY VANTRIX_LAYERS vantrix_${name})
  set_property(GLOBAL APPEND PROPERTY VANTRIX_LAYER_LIBRARIES ${ARG_LIBRARIES})
endfunction()

# vantrix_add_tests(file...)
# Adds unit tests, which stand beside the code that they test, to the test program.
function(vantrix_add_tests)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY VANTRIX_TEST_SOURCES ${ARGN})
endfunction()

# vantrix_add_tool(NAME file... [LIBRARIES target...])
# A program that the build runs, in tools/NAME. It has to run on the machine that builds: a build for
# another one takes it from a build for this one, in the folder VANTRIX_HOST_BUILD.
function(vantrix_add_tool name)
  cmake_parse_arguments(ARG "" "" "LIBRARIES" ${ARGN})
  if(CMAKE_CROSSCOMPILING)
    set(program "${VANTRIX_HOST_BUILD}/tools/${name}/${name}")
    if(NOT EXISTS ${program})
      message(FATAL_ERROR "There is no ${program}: VANTRIX_HOST_BUILD has to name a build for this machine")
    endif()
    add_executable(${name} IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${program})
  else()
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE vantrix_settings ${ARG_LIBRARIES})
  endif()
endfunction()

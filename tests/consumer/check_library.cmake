# The library's file: its name for the dynamic linker, what it needs, and what it exports.

function(run out)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  set(${out} "${output}" PARENT_SCOPE)
endfunction()

run(dynamic ${READELF} --dynamic --wide ${LIBRARY})
if(NOT dynamic MATCHES "SONAME[^\n]*\\[${SONAME}\\]")
  message(FATAL_ERROR "The library is not called ${SONAME}:\n${dynamic}")
endif()
# The loader is opened at run time, so that the library loads where there is none.
if(dynamic MATCHES "NEEDED[^\n]*libvulkan")
  message(FATAL_ERROR "The library cannot be loaded without a Vulkan loader:\n${dynamic}")
endif()

# Symbols of other names could clash with a host's or with another library's.
run(symbols ${NM} --dynamic --defined-only --demangle --format=just-symbols ${LIBRARY})
string(REGEX REPLACE ";" "," symbols "${symbols}")
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(LENGTH symbols count)
list(FILTER symbols EXCLUDE REGEX
     "^((typeinfo|typeinfo name|vtable|VTT) for |guard variable for |(non-virtual|virtual) thunk to )?(Vantra|VantraFx|sundrix)::")
if(symbols)
  list(JOIN symbols "\n" symbols)
  message(FATAL_ERROR "The library exports what is not its own:\n${symbols}")
endif()
if(count LESS 100)
  message(FATAL_ERROR "The library exports no more than ${count} symbols")
endif()

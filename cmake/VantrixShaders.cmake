# Shaders are compiled to SPIR-V, and resources embedded, at build time.

find_program(GLSLC glslc REQUIRED)

# vantrix_compile_shader(OUT_VARIABLE SOURCE [INCLUDE dir...])
# Adds the rule that compiles SOURCE to optimised SPIR-V and stores the output's path. A pixel or
# compute program becomes a program of the CPU engine as well.
function(vantrix_compile_shader out source)
  cmake_parse_arguments(ARG "" "" "INCLUDE" ${ARGN})
  get_filename_component(source ${source} ABSOLUTE)
  file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR} ${source})
  set(output ${PROJECT_BINARY_DIR}/spirv/${relative}.spv)
  get_filename_component(folder ${output} DIRECTORY)
  file(MAKE_DIRECTORY ${folder})
  # Of a number and NaN, min, max and clamp give the number.
  set(flags --target-env=vulkan1.3 -O -Werror -fnan-clamp)
  foreach(folder ${ARG_INCLUDE})
    list(APPEND flags -I ${folder})
  endforeach()
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${GLSLC} ${flags} -MD -MF ${output}.d ${source} -o ${output}
    DEPENDS ${source}
    DEPFILE ${output}.d
    COMMENT "Compiling ${relative}"
    VERBATIM)
  if(VANTRIX_SIMD AND source MATCHES "\\.(frag|comp)$")
    vantrix_translate_program(${relative} ${output})
  endif()
  set(${out} ${output} PARENT_SCOPE)
endfunction()

# vantrix_embed(TARGET SYMBOL file)
# Embeds a file's bytes in TARGET as `extern "C" const unsigned char SYMBOL[]`, with its end at
# SYMBOL_end.
function(vantrix_embed target symbol file)
  set(assembly ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.S)
  file(GENERATE OUTPUT ${assembly} CONTENT
"  .section .rodata
  .balign 16
  .global ${symbol}
  .hidden ${symbol}
  .global ${symbol}_end
  .hidden ${symbol}_end
${symbol}:
  .incbin \"${file}\"
${symbol}_end:
  .byte 0
  .section .note.GNU-stack,\"\",%progbits
")
  set_source_files_properties(${assembly} PROPERTIES OBJECT_DEPENDS ${file})
  target_sources(${target} PRIVATE ${assembly})
endfunction()

# Files that are stored in the library and found by name with `FindResourceW`. Any folder adds
# resources while it is processed; `src/platform/resources`, processed last, embeds them.

set_property(GLOBAL PROPERTY VANTRIX_RESOURCES)

# vantrix_add_resource(NAME file)
# Stores a file under NAME. A file that a rule makes must be named by a target too, for the rule to
# be run; name that target with DEPENDS.
function(vantrix_add_resource name file)
  cmake_parse_arguments(ARG "" "DEPENDS" "" ${ARGN})
  get_filename_component(file ${file} ABSOLUTE)
  vantrix_claim_resource_name(${name})
  set_property(GLOBAL PROPERTY VANTRIX_RESOURCE_FILE_${name} ${file})
  set_property(GLOBAL PROPERTY VANTRIX_RESOURCE_TARGET_${name} ${ARG_DEPENDS})
endfunction()

# vantrix_add_texture(NAME recipe)
# Makes a picture by a recipe of `src/effects/textures` and stores it under NAME, as a PNG.
function(vantrix_add_texture name recipe)
  set(texture ${PROJECT_BINARY_DIR}/textures/${recipe}.png)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/textures)
  # The former picture stays where the new one is the same, so that the library is not linked anew.
  add_custom_command(
    OUTPUT ${texture}
    COMMAND texgen ${recipe} ${texture}.new
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${texture}.new ${texture}
    DEPENDS texgen
    COMMENT "Making the texture ${recipe}"
    VERBATIM)
  add_custom_target(vantrix_texture_${recipe} DEPENDS ${texture})
  vantrix_add_resource(${name} ${texture} DEPENDS vantrix_texture_${recipe})
endfunction()

# vantrix_add_pixel_shader(NAME file)
# Compiles a pixel program, named relative to `src/effects/shaders`, and stores it under NAME.
function(vantrix_add_pixel_shader name file)
  set(file ${PROJECT_SOURCE_DIR}/src/effects/shaders/${file})
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "${name}: there is no ${file}")
  endif()
  vantrix_claim_resource_name(${name})
  set_property(GLOBAL PROPERTY VANTRIX_RESOURCE_SHADER_${name} ${file})
endfunction()

# vantrix_add_compute_shader(NAME file)
# The same for a compute program.
function(vantrix_add_compute_shader name file)
  vantrix_add_pixel_shader(${name} ${file})
endfunction()

function(vantrix_claim_resource_name name)
  # The table is searched by upper-case name.
  if(NOT name MATCHES "^[A-Z][A-Z0-9_]*$")
    message(FATAL_ERROR "${name}: a resource is named by capitals, digits and underscores")
  endif()
  get_property(names GLOBAL PROPERTY VANTRIX_RESOURCES)
  if(name IN_LIST names)
    message(FATAL_ERROR "${name}: there are two resources of this name")
  endif()
  set_property(GLOBAL APPEND PROPERTY VANTRIX_RESOURCES ${name})
endfunction()

# vantrix_embed_resources(OUT_VARIABLE TARGETS_VARIABLE)
# Writes the assembly that embeds all resources and the table of them. Stores the sources to build,
# and the targets to build before, in the variables.
function(vantrix_embed_resources out targets_out)
  get_property(names GLOBAL PROPERTY VANTRIX_RESOURCES)
  list(SORT names COMPARE STRING)
  list(LENGTH names count)
  set(assembly "  .section .rodata\n")
  set(declarations "")
  set(entries "")
  set(files "")
  set(shaders "")
  set(targets "")
  foreach(name ${names})
    get_property(file GLOBAL PROPERTY VANTRIX_RESOURCE_FILE_${name})
    get_property(shader GLOBAL PROPERTY VANTRIX_RESOURCE_SHADER_${name})
    get_property(target GLOBAL PROPERTY VANTRIX_RESOURCE_TARGET_${name})
    if(shader)
      vantrix_compile_shader(file ${shader} INCLUDE ${PROJECT_SOURCE_DIR}/src/render/shaders
                             ${PROJECT_SOURCE_DIR}/src/effects/shaders/include)
      list(APPEND shaders ${file})
    endif()
    list(APPEND files ${file})
    list(APPEND targets ${target})
    set(symbol vantrix_resource_${name})
    string(APPEND assembly "  .balign 16\n"
           "  .global ${symbol}\n  .hidden ${symbol}\n"
           "  .global ${symbol}_end\n  .hidden ${symbol}_end\n"
           "${symbol}:\n  .incbin \"${file}\"\n${symbol}_end:\n  .byte 0\n")
    string(APPEND declarations "extern const unsigned char ${symbol}[]; "
           "extern const unsigned char ${symbol}_end[];\n")
    string(APPEND entries "    {\"${name}\", ${symbol}, ${symbol}_end},\n")
  endforeach()
  string(APPEND assembly "  .section .note.GNU-stack,\"\",%progbits\n")

  set(assembly_file ${CMAKE_CURRENT_BINARY_DIR}/resource_bytes.S)
  set(table_file ${CMAKE_CURRENT_BINARY_DIR}/resource_table.cpp)
  file(CONFIGURE OUTPUT ${assembly_file} CONTENT "${assembly}" @ONLY)
  file(CONFIGURE OUTPUT ${table_file} CONTENT "\
#include \"platform/resources/resource.h\"

#include <array>

extern \"C\" {
${declarations}}

std::span<const ResourceEntry> Vantra::Platform::GetResourceTable() {
  static constexpr std::array<ResourceEntry, ${count}> kResources = {{
${entries}  }};
  return kResources;
}
" @ONLY)
  set_source_files_properties(${assembly_file} PROPERTIES OBJECT_DEPENDS "${files}")
  # As sources the compiled shaders make their rules part of the target.
  set(${out} ${assembly_file} ${table_file} ${shaders} PARENT_SCOPE)
  set(${targets_out} ${targets} PARENT_SCOPE)
endfunction()

# Programs for the CPU engine. Every pixel and compute program that `vantrix_compile_shader` compiles
# is translated to C++ too: those of `src` for the library, those of folders called `testdata` and
# those outside of `src` for the tests. They are compiled once for each SIMD target, in sources of a
# few programs each.

if(VANTRIX_SIMD)
  find_program(SPIRV_OPT spirv-opt REQUIRED)
endif()

set_property(GLOBAL PROPERTY VANTRIX_LIBRARY_KERNELS)
set_property(GLOBAL PROPERTY VANTRIX_TEST_KERNELS)

# vantrix_translate_program(SOURCE SPIRV)
# Adds the rule that makes C++ of a compiled program, and puts it on the list of the library's or the
# tests' kernels. SOURCE is named relative to the project.
function(vantrix_translate_program source spirv)
  # src/effects/shaders/color/posterize.frag becomes effects_color_posterize.
  cmake_path(REMOVE_EXTENSION source LAST_ONLY OUTPUT_VARIABLE name)
  string(REGEX REPLACE "^src/" "" name "${name}")
  string(REPLACE "shaders/" "" name "${name}")
  string(MAKE_C_IDENTIFIER "${name}" name)
  if(TARGET vantrix_kernel_${name})
    message(FATAL_ERROR "${source}: another program is called ${name}, too")
  endif()

  set(folder ${PROJECT_BINARY_DIR}/kernels)
  set(normal ${folder}/${name}.spv)
  set(result ${folder}/${name}.inc)
  set(flags ${PROJECT_SOURCE_DIR}/tools/pixelc/normalize.flags)
  file(MAKE_DIRECTORY ${folder})
  # The former result stays where the new one is the same, so that a change of the translator
  # recompiles only the programs that come out differently.
  add_custom_command(
    OUTPUT ${result}
    COMMAND ${SPIRV_OPT} --scalar-block-layout -Oconfig=${flags} ${spirv} -o ${normal}
    COMMAND pixelc --name ${name} --program ${spirv} --output ${result}.new ${normal}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${result}.new ${result}
    DEPENDS ${spirv} ${flags} pixelc
    COMMENT "Translating ${source}"
    VERBATIM)
  # The rule belongs to the program's folder; the kernels are built by others.
  add_custom_target(vantrix_kernel_${name} DEPENDS ${result})

  if(source MATCHES "^src/" AND NOT source MATCHES "/testdata/")
    set_property(GLOBAL APPEND PROPERTY VANTRIX_LIBRARY_KERNELS ${name})
  else()
    set_property(GLOBAL APPEND PROPERTY VANTRIX_TEST_KERNELS ${name})
  endif()
  cmake_path(GET source PARENT_PATH group)
  string(MAKE_C_IDENTIFIER "${group}" group)
  set_property(GLOBAL PROPERTY VANTRIX_KERNEL_GROUP_${name} ${group})
  if(source MATCHES "\\.comp$")
    set_property(GLOBAL PROPERTY VANTRIX_KERNEL_ARGUMENTS_${name} ComputeArguments)
  else()
    set_property(GLOBAL PROPERTY VANTRIX_KERNEL_ARGUMENTS_${name} PixelArguments)
  endif()
endfunction()

# vantrix_write_kernels(OUT_VARIABLE FUNCTION NAME...)
# Writes the sources of the kernels that are named, and the function
# `std::span<const Kernel> Vantra::Render::Simd::FUNCTION()` that lists them.
function(vantrix_write_kernels out function)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/kernels)
  # A small program takes less time than the headers, so a few share a source. Only programs of one
  # folder do, so that a new one moves few others.
  set(sources "")
  foreach(name ${ARGN})
    get_property(group GLOBAL PROPERTY VANTRIX_KERNEL_GROUP_${name})
    list(LENGTH group_${group} position)
    list(APPEND group_${group} ${name})
    math(EXPR batch "${position} / 6 + 1")
    set(source ${folder}/${group}_${batch}.cpp)
    list(APPEND sources ${source})
    list(APPEND programs_${source} ${name})
  endforeach()
  list(REMOVE_DUPLICATES sources)
  foreach(source ${sources})
    vantrix_write_kernel_source(${source} ${programs_${source}})
  endforeach()
  vantrix_write_kernel_table(${folder}/${function}.cpp ${function} ${ARGN})
  set(${out} ${folder}/${function}.cpp ${sources} PARENT_SCOPE)
endfunction()

function(vantrix_write_kernel_source source)
  set(programs "")
  set(functions "")
  foreach(name ${ARGN})
    get_property(arguments GLOBAL PROPERTY VANTRIX_KERNEL_ARGUMENTS_${name})
    string(APPEND programs "#include \"${PROJECT_BINARY_DIR}/kernels/${name}.inc\"\n")
    string(APPEND functions "HWY_EXPORT(${name});
bool ${name}(const ${arguments}& arguments, std::int32_t top, std::int32_t bottom) {
  return HWY_DYNAMIC_DISPATCH(${name})(arguments, top, bottom);
}
")
  endforeach()
  file(CONFIGURE OUTPUT ${source} CONTENT "\
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \"${source}\"
#include \"render/simd/targets.h\"

#include <hwy/foreach_target.h>

#include \"render/simd/program-inl.h\"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {
${programs}}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantra::Render::Simd {
${functions}}  // namespace Vantra::Render::Simd
#endif
" @ONLY)
endfunction()

function(vantrix_write_kernel_table source function)
  list(LENGTH ARGN count)
  set(entries "")
  foreach(name ${ARGN})
    string(APPEND entries "#include \"${PROJECT_BINARY_DIR}/kernels/${name}.inc\"\n")
  endforeach()
  # Each program is a line of two tables here: of declarations, and of kernels.
  file(CONFIGURE OUTPUT ${source} CONTENT "\
#include <array>
#include <type_traits>

#include \"render/simd/kernel.h\"

#define VANTRIX_KERNEL_ENTRIES

namespace Vantra::Render::Simd {

#define VANTRIX_KERNEL_ENTRY(NAME, HASH, KIND) \\
  std::remove_pointer_t<decltype(Kernel::KIND)> NAME;
${entries}#undef VANTRIX_KERNEL_ENTRY

std::span<const Kernel> ${function}();
std::span<const Kernel> ${function}() {
#define VANTRIX_KERNEL_ENTRY(NAME, HASH, KIND) \\
  Kernel{.name = #NAME, .program_hash = HASH, .KIND = NAME},
  static constexpr std::array<Kernel, ${count}> kKernels = {
${entries}  };
  return kKernels;
}

}  // namespace Vantra::Render::Simd
" @ONLY)
endfunction()

# vantrix_set_kernel_options(TARGET NAME...)
# How the sources of the kernels that are named are compiled in TARGET.
function(vantrix_set_kernel_options target)
  # Lanes are too slow to test with, and too large to debug, where they are not inlined.
  target_compile_options(${target} PRIVATE -O2)
  # The translator leaves it to the compiler to drop what nothing reads.
  target_compile_options(${target} PRIVATE -Wno-unused-variable)
  if(ARGN)
    list(TRANSFORM ARGN PREPEND vantrix_kernel_)
    add_dependencies(${target} ${ARGN})
  endif()
endfunction()

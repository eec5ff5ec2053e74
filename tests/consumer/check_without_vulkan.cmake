# The command on a machine without a Vulkan driver, and on one without the loader: it says so.

function(expect case exit_code message)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env ${ARGN} RESULT_VARIABLE result
                  OUTPUT_VARIABLE output ERROR_VARIABLE error)
  if(NOT result EQUAL exit_code OR NOT error MATCHES "${message}")
    message(FATAL_ERROR "${case}: exit code ${result}, not ${exit_code}; it wrote\n${output}${error}")
  endif()
endfunction()

set(no_driver VK_DRIVER_FILES=${FOLDER}/no_driver.json)
expect("engines, no driver" 1 "No Vulkan driver is installed" ${no_driver} ${COMMAND} engines)
expect("apply, no driver" 1 "there is no usable render engine" ${no_driver} ${COMMAND} apply in.png out.png
       --effect Posterize)

# A file that is no library goes before the machine's loader and cannot be opened.
file(WRITE ${FOLDER}/libvulkan.so.1 "")
file(WRITE ${FOLDER}/libvulkan.so "")
expect("engines, no loader" 1 "The Vulkan loader, libvulkan.so.1, is not installed"
       LD_LIBRARY_PATH=${FOLDER} ${COMMAND} engines)

# The command on a machine without a Vulkan driver, and on one without the loader: it says so, and
# works on the CPU engine.

function(expect case exit_code message)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env ${ARGN} RESULT_VARIABLE result
                  OUTPUT_VARIABLE output ERROR_VARIABLE error)
  if(NOT result EQUAL exit_code OR NOT error MATCHES "${message}")
    message(FATAL_ERROR "${case}: exit code ${result}, not ${exit_code}; it wrote\n${output}${error}")
  endif()
endfunction()

if(SIMD)
  set(code 0)
  set(message ".*")
else()
  set(code 1)
  set(message "there is no usable render engine")
endif()
set(gallery ${COMMAND} gallery ${FOLDER}/gallery --size 4x4)
set(no_driver VK_DRIVER_FILES=${FOLDER}/no_driver.json)
expect("engines, no driver" ${code} "No Vulkan driver is installed" ${no_driver} ${COMMAND} engines)
expect("gallery, no driver" ${code} "${message}" ${no_driver} ${gallery})

# A file that is no library goes before the machine's loader and cannot be opened.
file(WRITE ${FOLDER}/libvulkan.so.1 "")
file(WRITE ${FOLDER}/libvulkan.so "")
set(no_loader LD_LIBRARY_PATH=${FOLDER})
expect("engines, no loader" ${code} "The Vulkan loader, libvulkan.so.1, is not installed"
       ${no_loader} ${COMMAND} engines)
expect("gallery, no loader" ${code} "${message}" ${no_loader} ${gallery})

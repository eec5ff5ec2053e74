# What a host's build finds the installed library by: `find_package(vantrix)` in CMake, and
# `vantrix.pc` for pkg-config. The target vantrix is exported by its own install rule.

include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/vantrix)
install(EXPORT vantrix FILE vantrixConfig.cmake NAMESPACE vantrix:: DESTINATION ${package_folder})
write_basic_package_version_file(vantrixConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vantrixConfigVersion.cmake DESTINATION ${package_folder})

# The installed tree can be moved, so the prefix is told from where the file lies.
file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/vantrix.pc.in vantrix.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vantrix.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vox)
configure_package_config_file(cmake/VoxConfig.cmake.in ${PROJECT_BINARY_DIR}/VoxConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VoxConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VoxConfig.cmake ${PROJECT_BINARY_DIR}/VoxConfigVersion.cmake
    DESTINATION ${package_dir})
install(EXPORT VoxTargets NAMESPACE Vox:: DESTINATION ${package_dir})

# From lib/pkgconfig up to the prefix, so that the file works wherever the tree is put.
file(RELATIVE_PATH VOX_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/vox.pc.in ${PROJECT_BINARY_DIR}/vox.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vox.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

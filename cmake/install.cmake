include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${VOX_PACKAGE})
configure_package_config_file(cmake/VoxConfig.cmake.in ${PROJECT_BINARY_DIR}/${VOX_PACKAGE}Config.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${VOX_PACKAGE}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${VOX_PACKAGE}Config.cmake ${PROJECT_BINARY_DIR}/${VOX_PACKAGE}ConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)
install(EXPORT VoxTargets NAMESPACE Vox:: DESTINATION ${package_dir} COMPONENT development)

# From lib/pkgconfig up to the prefix, so that the file works wherever the tree is put.
file(RELATIVE_PATH VOX_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(module vox vox-network vox-simulation)
    configure_file(cmake/${module}.pc.in ${PROJECT_BINARY_DIR}/${module}${VOX_SUFFIX}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${module}${VOX_SUFFIX}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
endforeach()

# What developers read, laid out as here, so that links hold.
set(VOX_REFERENCE "" CACHE PATH "The folder of the API's reference that ./dev docs has made; installed unless empty")
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libvox${VOX_SUFFIX}-dev)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${doc_dir} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${doc_dir} COMPONENT development PATTERN "Doxyfile.in" EXCLUDE PATTERN "*.dox" EXCLUDE)
if(VOX_REFERENCE)
    install(DIRECTORY ${VOX_REFERENCE}/ DESTINATION ${doc_dir}/reference COMPONENT development)
endif()

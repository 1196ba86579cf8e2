include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vox)
configure_package_config_file(cmake/VoxConfig.cmake.in ${PROJECT_BINARY_DIR}/VoxConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VoxConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VoxConfig.cmake ${PROJECT_BINARY_DIR}/VoxConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)
install(EXPORT VoxTargets NAMESPACE Vox:: DESTINATION ${package_dir} COMPONENT development)

# From lib/pkgconfig up to the prefix, so that the file works wherever the tree is put.
file(RELATIVE_PATH VOX_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/vox.pc.in ${PROJECT_BINARY_DIR}/vox.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vox.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# What developers read, laid out as here, so that links hold.
set(VOX_REFERENCE "" CACHE PATH "The folder of the API's reference that ./dev docs has made; installed unless empty")
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libvox-dev)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${doc_dir} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${doc_dir} COMPONENT development PATTERN "Doxyfile.in" EXCLUDE PATTERN "*.dox" EXCLUDE)
if(VOX_REFERENCE)
    install(DIRECTORY ${VOX_REFERENCE}/ DESTINATION ${doc_dir}/reference COMPONENT development)
endif()

# Debian packages, one a component.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "VOX developers <maintainers@vox-network.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvox1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvox-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libvox1 (= ${PROJECT_VERSION}), qtbase5-dev (>= 5.15), libqt5serialport5-dev (>= 5.15)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS qtdeclarative5-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vox-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libvox1 (= ${PROJECT_VERSION})")
set(CPACK_STRIP_FILES ON)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT changelog CONTENT "vox (@PROJECT_VERSION@) unstable; urgency=medium

  * CHANGELOG.md of the sources tells what is new.

 -- @CPACK_PACKAGE_CONTACT@  @now@
" @ONLY)
execute_process(COMMAND gzip -9nf changelog WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
foreach(component IN ITEMS runtime development tools)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        COMPONENT ${component})
endforeach()
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Host programs move, set and query motorised window coverings over a
serial line, UDP or UDP multicast; emulated nodes stand in for them.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Development files: headers, CMake package and pkg-config file of libvox,
with guides, examples and the reference of the API.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Tools: the program vox, for those who install, test and debug networks of
motorised window coverings.")
include(CPack)

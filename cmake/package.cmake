# Debian packages, one a component.
set(version_suffix ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(qt_packages_5 "qtbase5-dev (>= 5.15), libqt5serialport5-dev (>= 5.15)")
set(qt_packages_6 "qt6-base-dev (>= 6.4), qt6-serialport-dev (>= 6.4)")
# As Debian names the modules of Qt.
set(qml_package_5 qml-module-vox)
set(qml_package_6 qml6-module-vox)
if(VOX_QT EQUAL 6)
    # A digit at the end of the name would run into the version.
    string(PREPEND version_suffix -)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS qt6-declarative-dev)
else()
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS qtdeclarative5-dev)
endif()

set(runtime_package libvox${VOX_SUFFIX}${version_suffix})
set(network_package libvoxnetwork${VOX_SUFFIX}${version_suffix})
set(simulation_package libvoxsimulation${VOX_SUFFIX}${version_suffix})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "VOX developers <maintainers@vox-network.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime network simulation development)
if(TARGET voxqml)
    list(APPEND CPACK_COMPONENTS_ALL qml)
endif()
if(VOX_BUILD_PROGRAMS AND VOX_INSTALL_PROGRAM)
    list(APPEND CPACK_COMPONENTS_ALL tools)
    if(MOSQUITTO_LIBRARY AND MOSQUITTO_INCLUDE_DIR)
        list(APPEND CPACK_COMPONENTS_ALL bridge)
    endif()
    if(TARGET vox-panel)
        list(APPEND CPACK_COMPONENTS_ALL panel)
    endif()
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
foreach(part network simulation)
    string(TOUPPER ${part} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${part}_package})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
endforeach()
set(CPACK_DEBIAN_QML_PACKAGE_NAME ${qml_package_${VOX_QT}})
set(CPACK_DEBIAN_QML_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_QML_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), ${network_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvox${VOX_SUFFIX}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), ${network_package} (= ${PROJECT_VERSION}), ${simulation_package} (= ${PROJECT_VERSION}), ${qt_packages_${VOX_QT}}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vox-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), ${network_package} (= ${PROJECT_VERSION}), ${simulation_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_BRIDGE_PACKAGE_NAME vox-bridge)
set(CPACK_DEBIAN_BRIDGE_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_BRIDGE_PACKAGE_DEPENDS "vox-tools (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_BRIDGE_PACKAGE_SUGGESTS "mosquitto")
set(CPACK_DEBIAN_BRIDGE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/postinst)
# What its pages import is loaded at run time, and a page without a font has boxes for letters.
set(CPACK_DEBIAN_PANEL_PACKAGE_NAME vox-panel)
set(CPACK_DEBIAN_PANEL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PANEL_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), ${network_package} (= ${PROJECT_VERSION}), ${simulation_package} (= ${PROJECT_VERSION}), ${qml_package_5} (= ${PROJECT_VERSION}), qml-module-qtquick2, qml-module-qtquick-window2, qml-module-qtquick-templates2, libqt5svg5, fonts-open-sans, fonts-dejavu-core")
set(CPACK_STRIP_FILES ON)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT changelog CONTENT "vox (@PROJECT_VERSION@) unstable; urgency=medium

  * CHANGELOG.md of the sources tells what is new.

 -- @CPACK_PACKAGE_CONTACT@  @now@
" @ONLY)
execute_process(COMMAND gzip -9nf changelog WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Host programs move, set and query motorised window coverings over a
serial line, UDP or UDP multicast; emulated nodes stand in for them. For Qt ${VOX_QT}.")
set(CPACK_COMPONENT_NETWORK_DESCRIPTION
    "Networks over time: who sends next on a line of motorised window
coverings. For Qt ${VOX_QT}.")
set(CPACK_COMPONENT_QML_DESCRIPTION
    "QML module Vox: pages of Qt Quick show and move motorised window
coverings. For Qt ${VOX_QT}.")
set(CPACK_COMPONENT_SIMULATION_DESCRIPTION
    "Simulated networks: whole networks of motorised window coverings in a
test, with faults and in virtual time. For Qt ${VOX_QT}.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Development files: headers, CMake package and pkg-config file of libvox,
with guides, examples and the reference of the API. For Qt ${VOX_QT}.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Tools: the program vox, for those who install, test and debug networks of
motorised window coverings.")
set(CPACK_COMPONENT_BRIDGE_DESCRIPTION
    "Bridge to MQTT: starts 'vox bridge' with the system, as a user of its own,
once /etc/vox/site.json is there.")
set(CPACK_COMPONENT_PANEL_DESCRIPTION
    "The panel: shows the shades of a building in a window, and commands
them; with --demo, a building that is simulated.")
include(CPack)

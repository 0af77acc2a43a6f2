# SPDX-License-Identifier: BSD-3-Clause
# Debian packages of the installed files, made by CPack's DEB generator (scripts/make-packages.sh):
#   runtime      the shared libraries with their SONAME, the translations and the Designer plugin:
#                libqzgui0 (libqzgui-qt6-0 from the Qt 6 build);
#   development  headers, the CMake package, the pkg-config files and the unversioned .so links:
#                libqzgui-dev (libqzgui-qt6-dev);
#   tools        qzparam, qz-modbus-device and qzpanel with their man pages: qzgui-tools (from the
#                Qt 5 build only).
# The companion libraries (Modbus, trend) are in the runtime and development packages.
# Placeholders in a domain reserved for examples: a distributor sets their own.
set(QZGUI_PACKAGE_MAINTAINER "qzgui developers <qzgui@example.org>" CACHE STRING
    "The Maintainer field of the Debian packages: a name and an e-mail address")
set(QZGUI_PACKAGE_HOMEPAGE "https://example.org/qzgui" CACHE STRING "The Homepage field of the Debian packages")

if(QZGUI_QT_MAJOR_VERSION STREQUAL "5")
    set(_runtime_package "libqzgui${PROJECT_VERSION_MAJOR}")
    set(_development_package "libqzgui-dev")
    set(_qt_development "qtbase5-dev, libqt5serialport5-dev, libqt5charts5-dev")
    set(_components runtime development tools)
else()
    set(_runtime_package "libqzgui-qt6-${PROJECT_VERSION_MAJOR}")
    set(_development_package "libqzgui-qt6-dev")
    # Qt 6's Charts CMake package needs Qt's OpenGL one, which Debian's qt6-charts-dev does not pull in.
    set(_qt_development "qt6-base-dev, qt6-serialport-dev, qt6-charts-dev, libqt6opengl6-dev")
    set(_components runtime development)
endif()
set(_tools_package "qzgui-tools")

# Each package carries its copyright file and a changelog, where Debian looks for them.
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" _license)
string(REGEX REPLACE "^BSD 3-Clause License\n\n" "" _license "${_license}")
string(STRIP "${_license}" _license)
# Debian's format: each line indented by one space, an empty line as " .".
string(REPLACE "\n\n" "\n.\n" _license "${_license}")
string(REPLACE "\n" "\n " _license "${_license}")
set(QZGUI_LICENSE_TEXT " ${_license}")
string(TIMESTAMP _date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(_component IN LISTS _components)
    set(_package "${_${_component}_package}")
    set(_doc "${CMAKE_CURRENT_BINARY_DIR}/debian/${_package}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/copyright.in" "${_doc}/copyright" @ONLY)
    file(WRITE "${_doc}/changelog.Debian"
        "${_package} (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
        "  * Packaged from qzgui ${PROJECT_VERSION}; see CHANGELOG.md.\n\n"
        " -- ${QZGUI_PACKAGE_MAINTAINER}  ${_date}\n")
    execute_process(COMMAND gzip -9nf "${_doc}/changelog.Debian")
    install(FILES "${_doc}/copyright" "${_doc}/changelog.Debian.gz"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${_package}" COMPONENT ${_component})
endforeach()

set(CPACK_PACKAGE_NAME "${QZGUI_NAME}")
set(CPACK_PACKAGE_VENDOR "the qzgui developers")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${QZGUI_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${_components})
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QZGUI_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${QZGUI_PACKAGE_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
# Depends computed from the binaries by dpkg-shlibdeps; a package on another of ours depends on
# that one's exact version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}/module_api;${CMAKE_BINARY_DIR}/qzgui;${CMAKE_BINARY_DIR}/qzgui/modbus;${CMAKE_BINARY_DIR}/qzgui/trend")

set(CPACK_COMPONENT_RUNTIME_DISPLAY_NAME "qzgui libraries")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${_runtime_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file for the packages with libraries (the runtime one), and the ldconfig trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_BINARY_DIR}/debian/triggers")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Qt Widgets building blocks for device configuration tools\n"
    "qzgui runs device operations in a worker thread (time-outs, retries, stop,\n"
    "a value cache), binds parameter ids to form widgets with change tracking\n"
    "and hints, builds forms from parameter descriptions, keeps a coloured log,\n"
    "and polls, plots and records values. Its companion libraries reach Modbus\n"
    "TCP and RTU devices and draw live trends (with Qt Charts).\n"
    ".\n"
    "This package holds the shared libraries, their translations and the Qt\n"
    "Designer plugin.")

set(CPACK_COMPONENT_DEVELOPMENT_DISPLAY_NAME "qzgui development files")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME "${_development_package}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${_qt_development}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Qt Widgets building blocks for device configuration tools (development)\n"
    "qzgui runs device operations in a worker thread, binds parameter ids to\n"
    "form widgets, builds forms from parameter descriptions, and polls, plots\n"
    "and records values, with companion libraries for Modbus devices and live\n"
    "trends.\n"
    ".\n"
    "This package holds the headers, the CMake package (find_package(${QZGUI_NAME}))\n"
    "and the pkg-config files needed to build against qzgui.")

set(CPACK_COMPONENT_TOOLS_DISPLAY_NAME "qzgui tools")
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME "${_tools_package}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION electronics)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Tools to configure and monitor Modbus devices from their register maps\n"
    "qzpanel builds a whole configuration form from a device's register map,\n"
    "with a monitor that polls chosen values into a live trend and a CSV file.\n"
    "qzparam reads, writes and watches parameters from the command line;\n"
    "qz-modbus-device serves a register map as a simulated Modbus TCP or RTU\n"
    "device.")

include(CPack)

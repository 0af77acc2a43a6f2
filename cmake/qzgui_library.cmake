# SPDX-License-Identifier: BSD-3-Clause
# qzgui_install_library(<target> EXPORT_NAME <name> HEADERS <file>... HEADER_DIR <dir>): the common
# shape of the installed shared libraries: the build's file suffix, the project's version as
# VERSION and its major as SOVERSION, only the marked symbols exported, siblings found beside
# themselves where installed on their own; the library in the runtime part, its .so link and
# headers (into <include>/<dir>) in the development part, and the target in the CMake package.
function(qzgui_install_library target)
    cmake_parse_arguments(ARG "" "EXPORT_NAME;HEADER_DIR" "HEADERS" ${ARGN})
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${ARG_EXPORT_NAME}
        OUTPUT_NAME ${target}${QZGUI_FILE_SUFFIX}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        INSTALL_RPATH "${QZGUI_INSTALL_RPATH}")
    install(TARGETS ${target} EXPORT qzguiTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${ARG_HEADERS} DESTINATION ${QZGUI_INSTALL_INCLUDEDIR}/${ARG_HEADER_DIR} COMPONENT development)
endfunction()

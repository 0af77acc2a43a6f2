# SPDX-License-Identifier: BSD-3-Clause
# cmake -P script: builds tests/package/consumer against qzgui and runs it.
#   MODE=find_package      install the build tree into a fresh prefix, then find_package(qzgui)
#   MODE=add_subdirectory  pull the checkout into the consumer's own build
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0)
        string(REPLACE ";" " " cmd "${ARGN}")
        message(FATAL_ERROR "failed (${rc}): ${cmd}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(args -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=Release)
if(MODE STREQUAL "find_package")
    run(${CMAKE_COMMAND} --install "${QZGUI_BUILD_DIR}" --prefix "${WORK_DIR}/prefix")
    foreach(f ${INCLUDE_DIR}/qzgui/HexSpinBox.h ${INCLUDE_DIR}/qzgui/qzgui_export.h
              ${INCLUDE_DIR}/qzgui/sat_worker.h ${INCLUDE_DIR}/qzgui/log_controller.h
              ${INCLUDE_DIR}/qzgui/HexSpinBox16.h ${INCLUDE_DIR}/qzgui/HexSpinBox32.h
              ${INCLUDE_DIR}/qzgui/form_scan.h ${INCLUDE_DIR}/qzgui/parameter_file.h
              ${INCLUDE_DIR}/module_api/qz_module.h ${INCLUDE_DIR}/module_api/error_descriptor.h
              lib/cmake/${PACKAGE}/${PACKAGE}Config.cmake lib/cmake/${PACKAGE}/${PACKAGE}ConfigVersion.cmake)
        if(NOT EXISTS "${WORK_DIR}/prefix/${f}")
            message(FATAL_ERROR "not installed: ${f}")
        endif()
    endforeach()
    # In that Qt's own plugin directory.
    file(GLOB_RECURSE plugin "${WORK_DIR}/prefix/libqzgui_designer.so")
    list(FILTER plugin INCLUDE REGEX "/qt${QT_MAJOR}/plugins/designer/")
    if(EXPECT_DESIGNER AND NOT plugin)
        message(FATAL_ERROR "the Designer plugin was not installed")
    endif()
    if(EXPECT_QM AND NOT EXISTS "${WORK_DIR}/prefix/share/${PACKAGE}/translations/qzgui_de.qm")
        message(FATAL_ERROR "not installed: share/${PACKAGE}/translations/qzgui_de.qm")
    endif()
    list(APPEND args -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DQZGUI_PACKAGE=${PACKAGE})
else()
    list(APPEND args -DQZGUI_SOURCE_DIR=${QZGUI_SOURCE_DIR} -DQZGUI_QT_MAJOR_VERSION=${QT_MAJOR})
endif()

run(${CMAKE_COMMAND} ${args})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2)
set(ENV{QT_QPA_PLATFORM} offscreen)
run("${WORK_DIR}/build/qzgui_consumer")
# The Modbus companion library comes with the package wherever it was built.
if(EXPECT_MODBUS)
    run("${WORK_DIR}/build/qzgui_modbus_consumer")
endif()
if(EXPECT_TREND)
    run("${WORK_DIR}/build/qzgui_trend_consumer")
endif()

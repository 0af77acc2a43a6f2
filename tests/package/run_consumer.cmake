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
    foreach(f include/qzgui/HexSpinBox.h include/qzgui/qzgui_export.h
              include/qzgui/sat_worker.h include/qzgui/log_controller.h
              include/qzgui/HexSpinBox16.h include/qzgui/HexSpinBox32.h
              include/module_api/qz_module.h include/module_api/error_descriptor.h
              lib/cmake/qzgui/qzguiConfig.cmake lib/cmake/qzgui/qzguiConfigVersion.cmake)
        if(NOT EXISTS "${WORK_DIR}/prefix/${f}")
            message(FATAL_ERROR "not installed: ${f}")
        endif()
    endforeach()
    file(GLOB_RECURSE plugin "${WORK_DIR}/prefix/libqzgui_designer.so")
    if(EXPECT_DESIGNER AND NOT plugin)
        message(FATAL_ERROR "the Designer plugin was not installed")
    endif()
    if(EXPECT_QM AND NOT EXISTS "${WORK_DIR}/prefix/share/qzgui/translations/qzgui_de.qm")
        message(FATAL_ERROR "not installed: share/qzgui/translations/qzgui_de.qm")
    endif()
    list(APPEND args -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix)
else()
    list(APPEND args -DQZGUI_SOURCE_DIR=${QZGUI_SOURCE_DIR})
endif()

run(${CMAKE_COMMAND} ${args})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2)
set(ENV{QT_QPA_PLATFORM} offscreen)
run("${WORK_DIR}/build/qzgui_consumer")

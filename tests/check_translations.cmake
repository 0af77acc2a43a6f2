# SPDX-License-Identifier: BSD-3-Clause
# cmake -P script: runs lupdate over copies of the .ts files and fails if that changes them, i.e.
# when a translatable text was added, changed or removed without the update target
# (UPDATE_TARGET: qzgui_lupdate unless given).
if(NOT UPDATE_TARGET)
    set(UPDATE_TARGET qzgui_lupdate)
endif()
file(REMOVE_RECURSE "${WORK_DIR}")
file(GLOB ts_files "${TS_DIR}/*.ts")
file(COPY ${ts_files} DESTINATION "${WORK_DIR}")
set(copies "")
foreach(ts IN LISTS ts_files)
    get_filename_component(name "${ts}" NAME)
    list(APPEND copies "${WORK_DIR}/${name}")
endforeach()
execute_process(COMMAND "${LUPDATE}" -silent -locations none -no-obsolete "${SOURCES}" -ts ${copies}
    RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "lupdate failed")
endif()
foreach(ts IN LISTS ts_files)
    get_filename_component(name "${ts}" NAME)
    file(READ "${ts}" before)
    file(READ "${WORK_DIR}/${name}" after)
    if(NOT before STREQUAL after)
        message(FATAL_ERROR "${name} is out of date: run cmake --build <build> --target ${UPDATE_TARGET}")
    endif()
endforeach()

# SPDX-License-Identifier: BSD-3-Clause
# Compiler settings for everything built from this checkout. Directory-scoped on purpose: a host
# project that includes qzgui with add_subdirectory() keeps its own flags.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)

add_compile_options(-Wall -Wextra)
if(QZGUI_WERROR)
    add_compile_options(-Werror)
endif()

if(QZGUI_SANITIZE)
    set(_qzgui_san_flags -fsanitize=${QZGUI_SANITIZE} -fno-omit-frame-pointer -g)
    if(QZGUI_SANITIZE MATCHES "undefined")
        # A report must fail the test that caused it, not scroll past in its output.
        list(APPEND _qzgui_san_flags -fno-sanitize-recover=undefined)
    endif()
    add_compile_options(${_qzgui_san_flags})
    add_link_options(${_qzgui_san_flags})
endif()

if(QZGUI_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "QZGUI_BUILD_FUZZERS needs clang (-DCMAKE_CXX_COMPILER=clang++)")
    endif()
    # Coverage feedback for the library code the fuzzers drive.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

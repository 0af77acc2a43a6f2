#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing, builds qzgui with its tests and runs every test.
# Usage: scripts/run-tests.sh [--qt 5|6] [--sanitize address,undefined|thread]
#   --qt 6 builds for Qt 6 into directories of its own (build-qt6, build-qt6-address-undefined, ...).
#   With thread, only the tests labelled "threads" run (the worker, its thread, the poller, the
#   simulated device, the Modbus module and worker).
#   QZGUI_WERROR=ON turns compiler warnings into errors (CI sets it).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/qt-choice.sh

sanitize=""
set -- ${args[@]+"${args[@]}"}
if [ "${1:-}" = "--sanitize" ]; then
    sanitize="${2:?--sanitize needs a list such as address,undefined}"
fi

scripts/setup-debian.sh --qt "$qt"

build="build$qt_suffix"
[ -n "$sanitize" ] && build="build$qt_suffix-${sanitize//,/-}"
jobs=$(nproc)

# A Qt 6 build is also installed beside the Qt 5 one, where ./build holds one.
side_by_side=""
if [ "$qt" = 6 ] && grep -q '^QZGUI_QT_MAJOR_VERSION:STRING=5$' build/CMakeCache.txt 2>/dev/null; then
    side_by_side="$PWD/build"
fi

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_QT_MAJOR_VERSION="$qt" \
    -DQZGUI_SIDE_BY_SIDE_BUILD="$side_by_side" \
    -DQZGUI_BUILD_TESTS=ON -DQZGUI_BUILD_EXAMPLES=ON -DQZGUI_BUILD_BENCHMARKS=ON \
    -DQZGUI_WERROR="${QZGUI_WERROR:-OFF}" -DQZGUI_SANITIZE="$sanitize"
cmake --build "$build" --parallel "$jobs"
ctest_args=()
[ "$sanitize" = "thread" ] && ctest_args=(-L threads)
ctest --test-dir "$build" --output-on-failure --parallel "$jobs" "${ctest_args[@]}"

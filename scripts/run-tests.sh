#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing, builds qzgui with its tests and runs every test.
# Usage: scripts/run-tests.sh [--sanitize address,undefined|thread]
#   With thread, only the tests labelled "threads" run (the worker and the simulated device).
#   QZGUI_WERROR=ON turns compiler warnings into errors (CI sets it).
set -euo pipefail
cd "$(dirname "$0")/.."

sanitize=""
if [ "${1:-}" = "--sanitize" ]; then
    sanitize="${2:?--sanitize needs a list such as address,undefined}"
fi

scripts/setup-debian.sh

build="build"
[ -n "$sanitize" ] && build="build-${sanitize//,/-}"
jobs=$(nproc)

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQZGUI_BUILD_TESTS=ON -DQZGUI_BUILD_EXAMPLES=ON -DQZGUI_BUILD_BENCHMARKS=ON \
    -DQZGUI_WERROR="${QZGUI_WERROR:-OFF}" -DQZGUI_SANITIZE="$sanitize"
cmake --build "$build" --parallel "$jobs"
ctest_args=()
[ "$sanitize" = "thread" ] && ctest_args=(-L threads)
ctest --test-dir "$build" --output-on-failure --parallel "$jobs" "${ctest_args[@]}"

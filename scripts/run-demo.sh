#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing, builds the device console demo and runs it: in a window where a display
# is available, otherwise as a scripted session on the offscreen platform that prints its log and
# saves a screenshot to build/device_console.png.
# Usage: scripts/run-demo.sh [--qt 5|6] [console options...]   (--qt 6 builds into build-qt6)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/qt-choice.sh

scripts/setup-debian.sh --qt "$qt"
build="build$qt_suffix"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_BUILD_EXAMPLES=ON -DQZGUI_QT_MAJOR_VERSION="$qt"
cmake --build "$build" --parallel "$(nproc)" --target device_console

console="$build/examples/device_console/device_console"
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$console" ${args[@]+"${args[@]}"}
fi
echo "No display: running the scripted session on the offscreen platform."
QT_QPA_PLATFORM=offscreen exec "$console" --script --screenshot "$build/device_console.png" ${args[@]+"${args[@]}"}

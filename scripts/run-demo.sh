#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing, builds the device console demo and runs it: in a window where a display
# is available, otherwise as a scripted session on the offscreen platform that prints its log and
# saves a screenshot to build/device_console.png.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_BUILD_EXAMPLES=ON
cmake --build build --parallel "$(nproc)" --target device_console

console=build/examples/device_console/device_console
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$console" "$@"
fi
echo "No display: running the scripted session on the offscreen platform."
QT_QPA_PLATFORM=offscreen exec "$console" --script --screenshot build/device_console.png "$@"

#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing, builds the demo and runs it: in a window where a display is available,
# otherwise scripted on the offscreen platform, printing what it does.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_BUILD_EXAMPLES=ON
cmake --build build --parallel "$(nproc)" --target hex_entry

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec build/examples/hex_entry/hex_entry "$@"
fi
QT_QPA_PLATFORM=offscreen exec build/examples/hex_entry/hex_entry --script "$@"

#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs the build tree into a fresh prefix and builds the consumer with plain g++ and pkg-config.
# Usage: pkgconfig_consumer.sh <build dir> <work dir> <consumer source>
set -euo pipefail
build=$1 work=$2 source=$3
rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" > /dev/null
pc=$(find "$work/prefix" -name qzgui.pc)
[ -n "$pc" ] || { echo "qzgui.pc not installed"; exit 1; }
export PKG_CONFIG_PATH="$(dirname "$pc")"
pkg-config --exists --print-errors qzgui
version=$(pkg-config --modversion qzgui)
echo "qzgui $version"
g++ -std=c++17 "$source" $(pkg-config --cflags --libs qzgui) -o "$work/consumer" \
    -Wl,-rpath,"$(pkg-config --variable=libdir qzgui)"
QT_QPA_PLATFORM=offscreen "$work/consumer"

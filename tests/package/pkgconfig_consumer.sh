#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs the build tree into a fresh prefix and builds the consumer with plain g++ and pkg-config.
# Usage: pkgconfig_consumer.sh <build dir> <work dir> <consumer source> [package, default qzgui]
set -euo pipefail
build=$1 work=$2 source=$3 package=${4:-qzgui}
rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" > /dev/null
pc=$(find "$work/prefix" -name "$package.pc")
[ -n "$pc" ] || { echo "$package.pc not installed"; exit 1; }
export PKG_CONFIG_PATH="$(dirname "$pc")"
pkg-config --exists --print-errors "$package"
version=$(pkg-config --modversion "$package")
echo "$package $version"
g++ -std=c++17 -fPIC "$source" $(pkg-config --cflags --libs "$package") -o "$work/consumer" \
    -Wl,-rpath,"$(pkg-config --variable=libdir "$package")"
QT_QPA_PLATFORM=offscreen "$work/consumer"

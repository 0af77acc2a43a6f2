#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs a Qt 5 build and a Qt 6 build into one prefix, checks that neither overwrote a file of the
# other, then builds a consumer of each (find_package and pkg-config) and runs it against its Qt.
# Usage: side_by_side.sh <qt5 build dir> <qt6 build dir> <consumer dir> <work dir>
set -euo pipefail
qt5=$1 qt6=$2 consumer=$3 work=$4
rm -rf "$work"
prefix="$work/prefix"

cmake --install "$qt5" --prefix "$prefix" > "$work.qt5.log"
(cd "$prefix" && find . -type f -exec sha256sum {} + | sort) > "$work.qt5.sums"
cmake --install "$qt6" --prefix "$prefix" > "$work.qt6.log"
# Every file of the Qt 5 install is still there, unchanged.
(cd "$prefix" && sha256sum --quiet -c "$work.qt5.sums") || { echo "the Qt 6 install changed Qt 5 files"; exit 1; }
# And the two installs wrote no path in common.
installed() { sed -n 's/^-- \(Installing\|Up-to-date\): //p' "$1" | sort -u; }
common=$(comm -12 <(installed "$work.qt5.log") <(installed "$work.qt6.log"))
[ -z "$common" ] || { echo "installed by both builds:"; echo "$common"; exit 1; }

for package in qzgui qzgui-qt6; do
    major=5
    [ "$package" = qzgui-qt6 ] && major=6
    cmake -S "$consumer" -B "$work/$package" -DCMAKE_PREFIX_PATH="$prefix" -DQZGUI_PACKAGE="$package" \
        -DCMAKE_BUILD_TYPE=Release > /dev/null
    cmake --build "$work/$package" > /dev/null
    out=$(QT_QPA_PLATFORM=offscreen "$work/$package/qzgui_consumer")
    echo "find_package($package): $out"
    grep -q "^Qt $major\." <<< "$out" || { echo "$package runs on the wrong Qt"; exit 1; }

    export PKG_CONFIG_PATH="$prefix/lib/pkgconfig:$(dirname "$(find "$prefix" -name "$package.pc")")"
    g++ -std=c++17 -fPIC "$consumer/main.cpp" $(pkg-config --cflags --libs "$package") -o "$work/$package.pc-consumer" \
        -Wl,-rpath,"$(pkg-config --variable=libdir "$package")"
    out=$(QT_QPA_PLATFORM=offscreen "$work/$package.pc-consumer")
    echo "pkg-config $package: $out"
    grep -q "^Qt $major\." <<< "$out" || { echo "$package (pkg-config) runs on the wrong Qt"; exit 1; }
done

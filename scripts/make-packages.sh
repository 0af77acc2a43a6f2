#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Builds qzgui for Debian (Release, installed under /usr) and makes its .deb packages with CPack.
# Usage: scripts/make-packages.sh [--qt 5|6]
#   Qt 5: libqzgui0, libqzgui-dev and qzgui-tools; Qt 6: libqzgui-qt6-0 and libqzgui-qt6-dev.
#   The packages land in packages/ (packages-qt6/ for Qt 6), named at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/qt-choice.sh

scripts/setup-debian.sh --qt "$qt" dpkg-dev file help2man

build="build-deb$qt_suffix"
out="$PWD/packages$qt_suffix"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DQZGUI_QT_MAJOR_VERSION="$qt" -DQZGUI_DEB_PACKAGING=ON \
    -DQZGUI_BUILD_TESTS=OFF -DQZGUI_BUILD_EXAMPLES=OFF -DQZGUI_BUILD_BENCHMARKS=OFF \
    -DQZGUI_WERROR="${QZGUI_WERROR:-OFF}" > /dev/null
cmake --build "$build" --parallel "$(nproc)"
rm -rf "$out"
mkdir -p "$out"
(cd "$build" && cpack -G DEB -B "$out/cpack" > /dev/null)
mv "$out"/cpack/*.deb "$out"/
rm -rf "$out/cpack"
echo "Packages in $out:"
ls -1 "$out"

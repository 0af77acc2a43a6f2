#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs the Debian 12 packages that building and testing qzgui needs, when they are missing.
# Usage: scripts/setup-debian.sh [--qt 5|6] [extra-package...]   (Qt 5 unless told)
set -euo pipefail
source "$(dirname "$0")/qt-choice.sh"

packages=(cmake make g++ "${qt_packages[@]}" xvfb xauth socat pkgconf doxygen clang-format ${args[@]+"${args[@]}"})
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing missing packages: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"

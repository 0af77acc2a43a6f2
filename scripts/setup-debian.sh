#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs the Debian 12 packages that building and testing qzgui needs, when they are missing.
# Usage: scripts/setup-debian.sh [extra-package...]
set -euo pipefail

packages=(cmake make g++ qtbase5-dev qtbase5-dev-tools qttools5-dev qttools5-dev-tools xvfb xauth pkgconf doxygen clang-format "$@")
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

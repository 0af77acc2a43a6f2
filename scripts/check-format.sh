#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Fails when a tracked C++ file differs from what clang-format makes of it.
# Usage: scripts/check-format.sh [--fix]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-debian.sh
mapfile -t files < <(git ls-files '*.h' '*.cpp')
if [ "${1:-}" = "--fix" ]; then
    clang-format -i --style=file "${files[@]}"
else
    clang-format --dry-run --Werror --style=file "${files[@]}"
    echo "${#files[@]} files formatted as .clang-format says"
fi

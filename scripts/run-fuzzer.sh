#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Builds the HexSpinBox fuzzer with clang, replays the kept findings, then fuzzes for a bounded time.
# Usage: scripts/run-fuzzer.sh [--qt 5|6] [seconds]   (default 60; --qt 6 builds into build-fuzz-qt6)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/qt-choice.sh
seconds="${args[0]:-60}"
build="build-fuzz$qt_suffix"

scripts/setup-debian.sh --qt "$qt" clang libclang-rt-14-dev
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_QT_MAJOR_VERSION="$qt" \
    -DQZGUI_BUILD_FUZZERS=ON -DQZGUI_BUILD_TESTS=OFF -DQZGUI_BUILD_EXAMPLES=OFF \
    -DQZGUI_BUILD_BENCHMARKS=OFF -DQZGUI_SANITIZE=address,undefined
cmake --build "$build" --parallel "$(nproc)" --target hexspinbox_fuzzer

# The fuzzer checks memory errors and the box's invariants; the leaks it would report at exit are
# Qt's own (fontconfig), so leak detection is off.
export ASAN_OPTIONS=detect_leaks=0
fuzzer="$build/fuzz/hexspinbox_fuzzer"
"$fuzzer" fuzz/regressions/*
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp fuzz/corpus/* "$work"/
"$fuzzer" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix=./fuzz-finding- "$work"

#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Builds the fuzz targets with clang, and for each: replays its kept findings, then fuzzes from its
# seed corpus for a bounded time. Prints each target's executions; any finding fails the run.
# Usage: scripts/run-fuzzer.sh [--qt 5|6] [seconds per target] [target...]
#   (default 60 s and every target; --qt 6 builds into build-fuzz-qt6)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/qt-choice.sh
seconds="${args[0]:-60}"
targets=("${args[@]:1}")
[ ${#targets[@]} -gt 0 ] || targets=(hexspinbox parameter_file form_id register_map parameter_value device_address)
build="build-fuzz$qt_suffix"

scripts/setup-debian.sh --qt "$qt" clang libclang-rt-14-dev
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZGUI_QT_MAJOR_VERSION="$qt" \
    -DQZGUI_BUILD_FUZZERS=ON -DQZGUI_BUILD_TESTS=OFF -DQZGUI_BUILD_EXAMPLES=OFF \
    -DQZGUI_BUILD_BENCHMARKS=OFF -DQZGUI_SANITIZE=address,undefined
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]/%/_fuzzer}"

# The targets check memory errors and their own rules; the leaks a target would report at exit are
# Qt's own (fontconfig), so leak detection is off. An input that runs 10 s counts as a hang.
export ASAN_OPTIONS=detect_leaks=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
summary=()
for target in "${targets[@]}"; do
    fuzzer="$build/fuzz/${target}_fuzzer"
    shopt -s nullglob
    kept=(fuzz/regressions/"$target"/*)
    shopt -u nullglob
    if [ ${#kept[@]} -gt 0 ]; then
        echo "== $target: replaying ${#kept[@]} kept findings"
        "$fuzzer" -timeout=10 "${kept[@]}"
    fi
    echo "== $target: fuzzing for $seconds s"
    mkdir -p "$work/$target"
    cp fuzz/corpus/"$target"/* "$work/$target"/
    # The progress lines (starting with "#") are left out of the output; the log keeps them.
    status=0
    "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="./fuzz-finding-$target-" "$work/$target" >"$work/$target.log" 2>&1 || status=$?
    grep -v "^#" "$work/$target.log" || true
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target.log")
    if [ "$status" -ne 0 ] || [ -z "$executions" ]; then
        echo "run-fuzzer: $target failed (status $status); the input is in ./fuzz-finding-$target-*" >&2
        exit 1
    fi
    summary+=("$(printf '%-16s %10s executions in %s s' "$target" "$executions" "$seconds")")
done
printf '%s\n' "${summary[@]}"

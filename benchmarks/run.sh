#!/bin/sh
# Runs every benchmark program of a build tree.
# Usage: run.sh [BUILD_DIR [BENCHMARK_OPTION...]]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/release}
[ $# -eq 0 ] || shift
found=0
for program in "$build"/bin/bench_*; do
    [ -x "$program" ] || continue
    found=1
    "$program" "$@"
done
[ $found -eq 1 ] || { echo "no benchmark programs in $build/bin" >&2; exit 1; }

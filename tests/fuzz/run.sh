#!/usr/bin/env bash
# Runs every fuzz program for a while, each from its seeds and what earlier runs found.
# Usage: run.sh BUILD_DIR SECONDS [NAME...]   (NAME as in fuzz_NAME; default: all)
# Prints executions and executions a second; status 1 when a program found a fault, whose input is
# then BUILD_DIR/fuzz/NAME-crash-..., -leak-..., -timeout-... or -oom-...: fuzz_NAME FILE repeats it.
set -u
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
seconds=$2
shift 2
[ $# -gt 0 ] || set -- $(cd "$build/bin" && ls -d fuzz_* | sed 's/^fuzz_//')
mkdir -p "$build/fuzz"
# Readers of files get them from memory.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm

one() {
    local name=$1 found=$build/fuzz/corpus/$1 log=$build/fuzz/$1.log options=()
    mkdir -p "$found"
    [ ! -f "$here/$name.dict" ] || options+=("-dict=$here/$name.dict")
    # Units are small: a seed of each kind is below 2 kB, and larger ones only take longer.
    "$build/bin/fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -max_len=4096 \
        -print_final_stats=1 -artifact_prefix="$build/fuzz/$name-" "${options[@]}" \
        "$found" "$here/corpus/$name" > "$log" 2>&1
    local status=$?
    awk -v name="$name" -v status=$status '
        /^stat::number_of_executed_units/ { runs = $2 }
        /^stat::average_exec_per_sec/ { rate = $2 }
        / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") cover = $(i + 1) }
        END { printf "%-18s %9d executions %7d/s %6d edges  %s\n", name, runs, rate, cover,
                     status ? "FAULT" : "clean" }' "$log"
    [ $status -eq 0 ] || { grep -E 'SUMMARY|runtime error|Test unit written|ERROR' "$log"; tail -n 1 "$log"; }
    return $status
}
export -f one
export here build seconds
printf '%s\n' "$@" | xargs -P "${JOBS:-$(nproc)}" -I{} bash -c 'one {}' || exit 1

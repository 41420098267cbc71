#!/bin/sh
# Computes grids of every mode from real stations into the folder demo-out and shows what they hold.
#   sh examples/demo.sh           file, edp and slow grids
#   sh examples/demo.sh global    the global utele grid too, with time and memory
# VELORIX_BIN names the folder of the programs (default: the release build, else the search path).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
bin=${VELORIX_BIN:-$here/../build/release/bin}
[ -x "$bin/velorix" ] || bin=$(dirname "$(command -v velorix)")
bin=$(cd "$bin" && pwd)
out=${VELORIX_DEMO_OUT:-$PWD/demo-out}
mkdir -p "$out"

# compute FOLDER FILE: the grids of examples/FOLDER/velorix.toml into a file that is not yet complete.
compute() {
    cd "$here/$1" && exec "$bin/velorix" ../data/demo > "$out/$2.part"
}

# keep FILE STATUS: the file, whole or not at all.
keep() {
    if [ "$2" -ne 0 ]; then
        rm -f "$out/$1.part"
        exit 1
    fi
    mv "$out/$1.part" "$out/$1"
}

make_grids() {
    echo "== examples/$1/velorix.toml -> $2"
    status=0
    (compute "$1" "$2") || status=$?
    keep "$2" "$status"
}

# As make_grids, with the time it took and the most memory it held, as Linux reports it.
make_grids_measured() {
    echo "== examples/$1/velorix.toml -> $2"
    started=$(date +%s)
    (compute "$1" "$2") &
    peak=unknown
    while now=$(sed -n 's/^VmHWM:[[:space:]]*//p' "/proc/$!/status" 2> /dev/null) && [ -n "$now" ]; do
        peak=$now
        sleep 0.2
    done
    status=0
    wait $! || status=$?
    keep "$2" "$status"
    echo "$(($(date +%s) - started)) s, most memory in use: $peak"
}

make_grids file_grid earthquakes.vxg
make_grids edp_grid southwest.vxg
make_grids slow_grid beam.vxg
files="earthquakes.vxg southwest.vxg beam.vxg"
if [ "${1:-}" = global ]; then
    make_grids_measured utele_grid global.vxg
    files="$files global.vxg"
fi

cd "$out"
echo
# shellcheck disable=SC2086
"$bin/velorix-info" $files
echo
echo "P and S from the Fiji earthquake to the first stations (velorix-info --times 0):"
"$bin/velorix-info" --times 0 earthquakes.vxg | sed -n 1,4p
echo
# shellcheck disable=SC2086
"$bin/velorix-info" --brief $files

# From stations and picks to a catalogue of real events.
echo
VELORIX_BIN=$bin sh "$here/assoc/run.sh" "$out"
echo
echo "The grids are in $out. Next: docs/tutorial.md"

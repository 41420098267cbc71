#!/bin/sh
# From stations and picks to a catalogue: computes the grid and prints the events of half an hour.
#   sh examples/assoc/run.sh [OUTPUT_FOLDER]
# VELORIX_BIN names the folder of the programs (default: the release build, else the search path).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
bin=${VELORIX_BIN:-$here/../../build/release/bin}
[ -x "$bin/velorix" ] || bin=$(dirname "$(command -v velorix)")
bin=$(cd "$bin" && pwd)
out=${1:-demo-out}
mkdir -p "$out"
out=$(cd "$out" && pwd)
cd "$here"
echo "== examples/assoc/velorix.toml -> italy.vxg"
"$bin/velorix" stations.txt > "$out/italy.vxg.part" 2> "$out/italy.log" || {
    cat "$out/italy.log" >&2
    rm -f "$out/italy.vxg.part"
    exit 1
}
mv "$out/italy.vxg.part" "$out/italy.vxg"
echo "== velorix-assoc --grids italy.vxg --picks examples/assoc/picks.csv"
"$bin/velorix-assoc" --grids "$out/italy.vxg" --picks picks.csv
"$bin/velorix-assoc" -q --grids "$out/italy.vxg" --picks picks.csv --format html --out "$out/report.html"
echo "The same events as a page for a browser: $out/report.html"

#!/bin/sh
# Catalogues of the library's tests, with all that is extreme in them, and of real picks.
# Usage: quakeml.sh BUILD_FOLDER SOURCE_FOLDER
set -eu
build=$1 source=$2
python=$(sh "$source/tests/obspy/environment.sh" "$build") || exit $?
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
VELORIX_KEEP_QUAKEML=$work "$build/bin/assoc_catalogue_test" --gtest_filter='QuakeMl.*' > "$work/log"
cp "$source"/examples/assoc/* "$work"
cd "$work"
"$build/bin/velorix" stations.txt > italy.vxg 2> log
"$build/bin/velorix-assoc" -q --grids italy.vxg --picks picks.csv --format quakeml --out real.xml
"$python" "$source/tests/obspy/quakeml.py" catalogue*.xml real.xml
[ "$(ls catalogue*.xml | wc -l)" -gt 4 ]

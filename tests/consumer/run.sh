#!/bin/sh
# Installs the build tree given into a fresh prefix, moves it, and builds programs against it.
# Usage: run.sh BUILD_DIR BUILD_TYPE CC CXX SANITIZERS
set -eu
build=$1 type=$2 cc=$3 cxx=$4 sanitizers=$5
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --config "$type" --prefix "$work/staged" > "$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
mv "$work/staged" "$work/prefix"
for file in bin/velorix bin/velorix-info bin/velorix-assoc share/man/man1/velorix.1.gz \
    share/velorix/examples/assoc/picks.csv; do
    [ -e "$work/prefix/$file" ] || { echo "$file is not installed"; exit 1; }
done
sh "$here/build_against.sh" "$work/prefix" "$cc" "$cxx" ${sanitizers:+-fsanitize="$sanitizers"}

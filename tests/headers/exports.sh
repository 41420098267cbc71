#!/bin/sh
# Compares what the shared library exports with the functions that the public headers declare.
# Usage: exports.sh GCC NM LIBRARY SOURCE_DIR HEADER...
set -eu
gcc=$1 nm=$2 library=$3 source=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for header; do
    echo "#include \"$header\""
done > "$work/all.c"
"$gcc" -std=c11 -I"$source" -I"$source/lib/rt/libvelorix" -c -o "$work/all.o" \
    -aux-info "$work/declared" "$work/all.c"
# Lines such as "/* platform/db/db.h:19:NC */ extern Db *dbopen (const char *);"
grep -F "$source/" "$work/declared" | sed 's/^.* extern \([^(]*[ *]\)\([a-z_0-9A-Z]*\) (.*/\2/' |
    sort -u > "$work/wanted"
"$nm" -D --defined-only "$library" | sed -n 's/^.* [A-Z] \([^@]*\)@.*/\1/p' | grep -v '^VELORIX_' |
    sort -u > "$work/exported"
[ -s "$work/wanted" ] || { echo "no declaration was found"; exit 1; }
diff -u --label declared --label exported "$work/wanted" "$work/exported"

#!/bin/sh
# Compiles every public header by itself, twice in one unit, as C11 and as C++20, warnings as errors.
# Usage: run.sh CC CXX SOURCE_DIR HEADER...
set -eu
cc=$1 cxx=$2 source=$3
shift 3
status=0
for header; do
    unit=$(printf '#include "%s"\n#include "%s"\nint unit_is_not_empty;\n' "$header" "$header")
    for standard in c11 c++20; do
        case $standard in c11) compiler=$cc language=c ;; *) compiler=$cxx language=c++ ;; esac
        printf '%s\n' "$unit" | "$compiler" -x $language -std=$standard -Wall -Wextra -Wpedantic \
            -Wshadow -Wconversion -Werror -fsyntax-only -I"$source" -I"$source/lib/rt/libvelorix" - ||
            { echo "$header does not compile as $standard"; status=1; }
    done
done
exit $status
